# SPDX-License-Identifier: Apache-2.0
# Debian packages, made by cpack out of what is installed: one for each install component. scripts/package runs it.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "kxdiscovery maintainers <maintainers@kxdiscovery.example.org>")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://kxdiscovery.example.org")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libraries development agent tools responder)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# What a program needs is read from its symbols. For another architecture the caller names its records in DPKG_ADMINDIR.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/platform ${CMAKE_BINARY_DIR}/discovery)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  foreach(folder /lib /usr/lib)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_SYSROOT}${folder}/${CMAKE_LIBRARY_ARCHITECTURE})
  endforeach()
endif()

configure_file(packaging/changelog.in packaging/changelog @ONLY)
execute_process(COMMAND gzip --best --no-name --force ${CMAKE_BINARY_DIR}/packaging/changelog COMMAND_ERROR_IS_FATAL ANY)

# kx_package(COMPONENT NAME SECTION SUMMARY TEXT): what an install component is called, and what is said of it.
macro(kx_package component name section summary text)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${text}")
  install(FILES packaging/copyright ${CMAKE_BINARY_DIR}/packaging/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endmacro()

# kx_package_service(COMPONENT UNIT CONFIGURATION MAKE_USERS FORGET): the scripts that dpkg runs for a package with a service,
# and the file that it leaves as it was edited. FORGET takes back at a purge what was made in its lifetime.
# A function, since the arguments of a macro are no variables, and configure_file would put nothing in their places.
function(kx_package_service component UNIT configuration MAKE_USERS FORGET)
  string(TOUPPER ${component} key)
  foreach(script postinst prerm postrm)
    configure_file(packaging/${script}.in packaging/${component}/${script} @ONLY)
    list(APPEND scripts ${CMAKE_BINARY_DIR}/packaging/${component}/${script})
  endforeach()
  file(WRITE ${CMAKE_BINARY_DIR}/packaging/${component}/conffiles "${configuration}\n")
  list(APPEND scripts ${CMAKE_BINARY_DIR}/packaging/${component}/conffiles)
  set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${scripts} PARENT_SCOPE)
endfunction()

kx_package(libraries libkxdiscovery0 libs "node discovery for network devices: shared libraries"
"Finds the nodes on a device's private networks, keeps them and reports what
changed, from inside a management agent. With it comes the platform layer that
it is written against.")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/triggers)

kx_package(development libkxdiscovery-dev libdevel "node discovery for network devices: development files"
"Headers, static libraries and CMake's description of libkxdiscovery, for
management agents that host it.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS libraries)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libuv1-dev, libre2-dev, libsqlite3-dev, libmnl-dev")

kx_package(agent discovery-agent net "agent that finds the nodes on private networks"
"Runs the plan of a management server on the same device, or one scan by hand
whose result it prints. The service is installed, but neither enabled nor
started.")
kx_package_service(agent discovery-agent.service /etc/default/discovery-agent : :)
set(CPACK_COMPONENT_AGENT_DEPENDS libraries)
set(CPACK_DEBIAN_AGENT_PACKAGE_RECOMMENDS "arp-scan, discovery-tools")

kx_package(tools discovery-tools net "tools that ask the hosts of a network what they are"
"servicescan asks for ping, http, https, snmp and sip, thousands of hosts at a
time. discovery-client finds devices that speak for themselves, makes one blink
and hands one its organisation key.")

kx_package(responder discovery-responder net "answers network discovery for a device"
"The device's side of discovery-client. The service is installed, but neither
enabled nor started.")
kx_package_service(responder discovery-responder.service /etc/discovery/responder.conf
  "systemd-sysusers discovery-responder.conf"
  "rm -rf /var/lib/discovery-responder
  if getent passwd discovery-responder >/dev/null; then userdel discovery-responder; fi")
set(CPACK_DEBIAN_RESPONDER_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers")

include(CPack)
