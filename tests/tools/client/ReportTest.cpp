// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tools/client/Report.h"

namespace DeviceDiscovery::Client {
namespace {

std::string printed(void (*print)(const Devices&, std::FILE*), const Devices& devices) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const stream = open_memstream(&text, &size);
  print(devices, stream);
  std::fclose(stream);
  const std::string result(text, size);
  std::free(text);
  return result;
}

Devices twoDevices() {
  Devices devices;
  devices.add(0xc0a8010aU, {"Model \"1\""_s, "7.1"_s, true});
  devices.add(0xc0a80102U, {});
  devices.identify(
      {{0xc0a8010aU, 1, MacAddress{2, 0, 0, 0, 0, 0xab}, false}, {0xc0a80102U, 1, MacAddress{2, 0, 0, 0, 0, 2}, false}},
      1);
  return devices;
}

TEST(ReportTest, TheDocumentNamesEveryDeviceByAscendingAddress) {
  EXPECT_EQ(printed(printJson, twoDevices()),
            "{\"nodes\":[{\"physicalAddress\":\"02:00:00:00:00:02\",\"ipAddress\":\"192.168.1.2\",\"model\":\"\","
            "\"build\":\"\",\"supportsOnboarding\":false},"
            "{\"physicalAddress\":\"02:00:00:00:00:AB\",\"ipAddress\":\"192.168.1.10\",\"model\":\"Model \\\"1\\\"\","
            "\"build\":\"7.1\",\"supportsOnboarding\":true}]}\n");
}

TEST(ReportTest, NoDevicesAreADocumentToo) { EXPECT_EQ(printed(printJson, Devices()), "{\"nodes\":[]}\n"); }

TEST(ReportTest, TheTableHasALineForEachDevice) {
  const std::string table = printed(printTable, twoDevices());
  EXPECT_NE(table.find("192.168.1.10     02:00:00:00:00:AB  yes         Model \"1\", 7.1\n"), std::string::npos)
      << table;
  EXPECT_NE(table.find("192.168.1.2      02:00:00:00:00:02  no"), std::string::npos) << table;
}

}  // namespace
}  // namespace DeviceDiscovery::Client
