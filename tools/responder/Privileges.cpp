// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Privileges.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "platform/base/KXFile.h"

namespace DeviceDiscovery::Responder {
namespace {

XCode lastError(const String& context) {
  XCode result = XCode::fromErrno(errno);
  result.extendString(context, ": ");
  return result;
}

// Through a descriptor, so that no link leads the change of ownership elsewhere.
XCode ownDirectory(const String& path, const passwd* owner) {
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return lastError(path);
  KXFile directory(path, true, false);
  XCode result = directory.open(O_RDONLY | O_DIRECTORY | O_NOFOLLOW, 0);
  if (result.isErr()) {
    result.extendString(path, ": ");
    return result;
  }
  if (owner != nullptr && fchown(directory.descriptor(), owner->pw_uid, owner->pw_gid) != 0) return lastError(path);
  return XCode();
}

XCode become(const passwd& user) {
  if (initgroups(user.pw_name, user.pw_gid) != 0 || setgid(user.pw_gid) != 0 || setuid(user.pw_uid) != 0) {
    return lastError("cannot become another user"_s);
  }
  if (user.pw_uid != 0 && setuid(0) == 0) return XCode::error("still root"_s);
  return XCode();
}

// What a unit gave a user that is not root. One call, for which libcap would be one more library on the device.
XCode renounceCapabilities() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  return syscall(SYS_capset, &header, none) == 0 ? XCode() : lastError("cannot renounce capabilities"_s);
}

}  // namespace

XCode dropPrivileges(const String& user, const String& stateDirectory) {
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return lastError("cannot renounce new privileges"_s);
  if (geteuid() != 0) {
    XCode result = ownDirectory(stateDirectory, nullptr);
    return result.isErr() ? result : renounceCapabilities();
  }
  const passwd* const entry = getpwnam(user.c_str());
  if (entry == nullptr) return XCode::error(String::format("no such user: %s", user.c_str()));
  XCode result = ownDirectory(stateDirectory, entry);
  return result.isErr() ? result : become(*entry);
}

}  // namespace DeviceDiscovery::Responder
