// SPDX-License-Identifier: Apache-2.0
#include "bench/limit/SyncLimit.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstring>

#include "bench/sync/ServiceOrder.h"

namespace {

using simdjson::dom::element;

static_assert(SyncProgram::PADDING >= simdjson::SIMDJSON_PADDING);

constexpr std::uint32_t FREE = 0xffffffffU;
constexpr std::string_view STATUS[] = {"unknown", "down", "up"};

std::int64_t number(const char* text, unsigned digits) {
  std::int64_t value = 0;
  for (unsigned i = 0; i < digits; ++i) value = value * 10 + (text[i] - '0');
  return value;
}

std::int64_t readDate(std::string_view text) {
  using namespace std::chrono;
  const char* c = text.data();
  const year_month_day date{year(static_cast<int>(number(c, 4))), month(static_cast<unsigned>(number(c + 5, 2))),
                            day(static_cast<unsigned>(number(c + 8, 2)))};
  const std::int64_t days = sys_days(date).time_since_epoch().count();
  return (days * 86400 + number(c + 11, 2) * 3600 + number(c + 14, 2) * 60 + number(c + 17, 2)) * 1000 +
         number(c + 20, 3);
}

void put(char* text, unsigned value, unsigned digits) {
  for (; digits > 0; value /= 10) text[--digits] = static_cast<char>('0' + value % 10);
}

void writeDate(std::string& out, std::int64_t milliseconds) {
  using namespace std::chrono;
  const std::int64_t days = milliseconds / 86400000;
  const auto rest = static_cast<unsigned>(milliseconds % 86400000);
  const year_month_day date{sys_days(std::chrono::days(days))};
  char text[] = "0000-00-00T00:00:00.000Z";
  put(text, static_cast<unsigned>(static_cast<int>(date.year())), 4);
  put(text + 5, static_cast<unsigned>(date.month()), 2);
  put(text + 8, static_cast<unsigned>(date.day()), 2);
  put(text + 11, rest / 3600000, 2);
  put(text + 14, rest / 60000 % 60, 2);
  put(text + 17, rest / 1000 % 60, 2);
  put(text + 20, rest % 1000, 3);
  out.append(text, sizeof(text) - 1);
}

std::string_view textOf(element value) { return value.get_string().value_unsafe(); }

std::uint32_t hashOf(std::string_view text) {
  std::uint64_t hash = 0;
  std::uint64_t word = 0;
  for (; text.size() >= 8; text.remove_prefix(8)) {
    std::memcpy(&word, text.data(), 8);
    hash = (hash ^ word) * 0x9e3779b97f4a7c15U;
    hash ^= hash >> 29U;
  }
  word = 0;
  std::memcpy(&word, text.data(), text.size());
  hash = (hash ^ word) * 0x9e3779b97f4a7c15U;
  return static_cast<std::uint32_t>(hash >> 32U);
}

}  // namespace

std::uint32_t SyncLimit::store(std::string_view text) {
  const auto offset = static_cast<std::uint32_t>(texts_.size());
  texts_ += static_cast<char>(text.size());
  texts_ += text;
  return offset;
}

std::uint32_t SyncLimit::intern(std::string_view text) {
  for (const std::uint32_t offset : interned_) {
    if (textAt(offset) == text) return offset;
  }
  return interned_.emplace_back(store(text));
}

std::string_view SyncLimit::textAt(std::uint32_t offset) const {
  return {texts_.data() + offset + 1, static_cast<unsigned char>(texts_[offset])};
}

std::uint32_t& SyncLimit::slot(Index& index, std::string_view key, std::uint32_t Row::*field) {
  const std::size_t mask = index.size() - 1;
  std::size_t position = hashOf(key) & mask;
  while (index[position] != FREE && textAt(rows_[index[position]].*field) != key) position = (position + 1) & mask;
  return index[position];
}

// Both indexes stay at most half full.
void SyncLimit::reserve() {
  if (2 * (rows_.size() + 1) <= byIp_.size()) return;
  const std::size_t slots = std::max<std::size_t>(64, 2 * byIp_.size());
  byIp_.assign(slots, FREE);
  byMac_.assign(slots, FREE);
  for (std::uint32_t i = 0; i < rows_.size(); ++i) {
    slot(byIp_, textAt(rows_[i].ip), &Row::ip) = i;
    slot(byMac_, textAt(rows_[i].mac), &Row::mac) = i;
  }
}

void SyncLimit::takeServices(Row& row, element services) {
  row.services = static_cast<std::uint32_t>(services_.size());
  const simdjson::dom::object members = services.get_object().value_unsafe();
  for (const auto [name, value] : members) {
    services_.push_back({intern(name), static_cast<std::uint16_t>(value["port"].get_uint64().value_unsafe())});
  }
  row.serviceCount = static_cast<std::uint8_t>(services_.size() - row.services);
  std::stable_sort(services_.begin() + row.services, services_.end(), [this](const Service& a, const Service& b) {
    return serviceOrder(textAt(a.name)) < serviceOrder(textAt(b.name));
  });
}

void SyncLimit::takeNode(element node) {
  reserve();
  std::string_view ip;
  std::string_view mac;
  Row row;
  const simdjson::dom::object members = node.get_object().value_unsafe();
  for (const auto [key, value] : members) {
    if (key == "ipAddress") {
      ip = textOf(value);
    } else if (key == "physicalAddress") {
      mac = textOf(value);
    } else if (key == "interface") {
      row.interface = intern(textOf(value));
    } else if (key == "model") {
      row.model = intern(textOf(value));
    } else if (key == "status") {
      row.status = textOf(value) == "up" ? 2 : 1;
    } else if (key == "statusChangeDate") {
      row.date = readDate(textOf(value));
    } else if (key == "services") {
      takeServices(row, value);
    }
  }
  std::uint32_t& bySameMac = slot(byMac_, mac, &Row::mac);
  std::uint32_t& bySameIp = slot(byIp_, ip, &Row::ip);
  if (bySameMac != FREE || bySameIp != FREE) return;
  bySameMac = bySameIp = static_cast<std::uint32_t>(rows_.size());
  row.ip = store(ip);
  row.mac = store(mac);
  rows_.push_back(row);
}

void SyncLimit::writeNode(std::string& out, const Row& row) const {
  const auto member = [&](std::string_view key, std::uint32_t text) { out.append(key).append(textAt(text)) += '"'; };
  member(R"({"ipAddress":")", row.ip);
  member(R"(,"physicalAddress":")", row.mac);
  member(R"(,"interface":")", row.interface);
  member(R"(,"model":")", row.model);
  out.append(R"(,"status":")").append(STATUS[row.status]).append(R"(","statusChangeDate":")");
  writeDate(out, row.date);
  out.append(R"(","services":{)");
  for (unsigned i = 0; i < row.serviceCount; ++i) {
    const Service& service = services_[row.services + i];
    char port[8];
    const char* end = std::to_chars(port, port + sizeof(port), service.port).ptr;
    out.append(i == 0 ? "\"" : ",\"").append(textAt(service.name)).append(R"(":{"port":)");
    out.append(port, static_cast<std::size_t>(end - port)) += '}';
  }
  out.append("}}");
}

std::string SyncLimit::sync(std::string_view request) {
  const element root = parser_.parse(request.data(), request.size(), false).value_unsafe();
  const simdjson::dom::array nodes = root["nodes"].get_array().value_unsafe();
  for (const element node : nodes) takeNode(node);
  std::string out = R"({"kind":"ack","service":"discovery","name":"syncNodes","id":1,"nodes":[)";
  for (const Row& row : rows_) {
    if (&row != rows_.data()) out += ',';
    writeNode(out, row);
  }
  return out.append("]}");
}

std::unique_ptr<SyncProgram> makeSyncLimit() { return std::make_unique<SyncLimit>(); }
