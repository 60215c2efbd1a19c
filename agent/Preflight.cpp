// SPDX-License-Identifier: Apache-2.0
#include "agent/Preflight.h"

#include <linux/capability.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/process/Descriptor.h"

namespace {

constexpr char SYSTEM_FOLDERS[] = "/usr/local/sbin:/usr/sbin:/sbin";

std::string path() {
  const char* const value = std::getenv("PATH");
  return value == nullptr || *value == '\0' ? "/usr/bin:/bin" : value;
}

bool isProgram(const std::string& file) {
  struct stat status {};
  return stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(file.c_str(), X_OK) == 0;
}

// One of this process's sets of capabilities, as /proc names it.
std::uint64_t capabilities(const std::string& set) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(set + ":", 0) == 0) return std::strtoull(line.c_str() + set.size() + 1, nullptr, 16);
  }
  return 0;
}

// Whether the program will have the right to open a raw socket: its file gives it, or this process hands it down.
bool mayOpenRawSockets(const String& program) {
  const std::uint64_t raw = std::uint64_t{1} << CAP_NET_RAW;
  if ((capabilities("CapBnd") & raw) == 0) return false;
  struct stat status {};
  if (stat(program.c_str(), &status) != 0) return false;
  if (geteuid() == 0) return true;
  if ((status.st_mode & S_ISUID) != 0 && status.st_uid == 0) return true;
  if (getxattr(program.c_str(), "security.capability", nullptr, 0) > 0) return true;
  return (capabilities("CapAmb") & raw) != 0;
}

// By servicescan, which uses a ping socket where everybody may, else a raw one.
bool mayPing(const String& servicescan) {
  return KX::Shell::Descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP)) ||
         mayOpenRawSockets(servicescan);
}

void add(Preflight& preflight, const char* text) {
  preflight.missing.concatf("%s%s", preflight.missing.isEmpty() ? "" : "; ", text);
}

// Which of the two ways to find nodes is left.
void checkNodeScan(Preflight& preflight, bool hasClient) {
  const String arpScan = findProgram("arp-scan"_s);
  const bool isAllowed = !arpScan.isEmpty() && mayOpenRawSockets(arpScan);
  if (arpScan.isEmpty()) {
    add(preflight, "arp-scan: not found (Debian package arp-scan)");
  } else if (!isAllowed) {
    add(preflight, "arp-scan: may not open raw sockets (run as root, or with CAP_NET_RAW)");
  }
  preflight.isHopeless = !isAllowed && !hasClient;
  if (!isAllowed && hasClient) add(preflight, "only devices that speak for themselves are found");
}

}  // namespace

String findProgram(const String& name) {
  if (name.view().find('/') != std::string_view::npos) return isProgram(name.c_str()) ? name : String();
  std::istringstream folders(path());
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::string file = (folder.empty() ? "." : folder) + "/" + name.c_str();
    if (isProgram(file)) return String(file);
  }
  return String();
}

Preflight checkTools(bool isThorough) {
  setenv("PATH", (path() + ":" + SYSTEM_FOLDERS).c_str(), 1);
  Preflight preflight;
  const bool hasClient = !findProgram("discovery-client"_s).isEmpty();
  if (!hasClient) add(preflight, "discovery-client: not found (Debian package discovery-tools)");
  if (isThorough) checkNodeScan(preflight, hasClient);
  if (preflight.isHopeless) return preflight;
  if (!hasClient) add(preflight, "devices are not asked what they are");
  const String servicescan = findProgram("/usr/bin/servicescan"_s);
  if (servicescan.isEmpty()) {
    add(preflight, "/usr/bin/servicescan: not found (Debian package discovery-tools); no services and no status");
  } else if (!mayPing(servicescan)) {
    add(preflight, "servicescan: may not ping (net.ipv4.ping_group_range); other services are looked for");
  }
  return preflight;
}
