# SPDX-License-Identifier: Apache-2.0
# Man pages, each rendered from its one source in docs/man, and bash's completion of the programs.

find_program(SCDOC_PROGRAM scdoc)
if(NOT SCDOC_PROGRAM)
  message(STATUS "No man pages: scdoc is not installed")
endif()

# kx_man_pages(COMPONENT NAME.SECTION ...): the pages of an install component. Their date is that of SOURCE_DATE_EPOCH where the
# environment has one.
function(kx_man_pages component)
  if(NOT SCDOC_PROGRAM)
    return()
  endif()
  foreach(page IN LISTS ARGN)
    set(rendered ${CMAKE_BINARY_DIR}/man/${page})
    configure_file(docs/man/${page}.scd ${rendered}.scd @ONLY)
    add_custom_command(OUTPUT ${rendered}.gz DEPENDS ${rendered}.scd VERBATIM
      COMMAND sh -c "\"$0\" <\"$1.scd\" >\"$1\" && gzip -9 --no-name --force --keep \"$1\"" ${SCDOC_PROGRAM} ${rendered})
    list(APPEND all ${rendered}.gz)
    string(REGEX REPLACE ".*\\." "" section ${page})
    install(FILES ${rendered}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
  endforeach()
  add_custom_target(${component}-man-pages ALL DEPENDS ${all})
endfunction()

# kx_completions(COMPONENT PROGRAM ...)
function(kx_completions component)
  foreach(program IN LISTS ARGN)
    install(FILES packaging/completion/${program}.bash RENAME ${program}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT ${component})
  endforeach()
endfunction()

kx_man_pages(agent discovery-agent.1 discovery-plan.5 discovery-database.5)
kx_completions(agent discovery-agent)
if(DISCOVERY_TOOLS)
  kx_man_pages(tools servicescan.1 servicescan-targets.5 discovery-client.1)
  kx_completions(tools servicescan discovery-client)
  kx_man_pages(responder discovery-responder.8)
  kx_completions(responder discovery-responder)
endif()
