// SPDX-License-Identifier: Apache-2.0
// Files whose bytes are broken, by chance or on purpose: an error at most, never a crash or a loop without end.
#include <array>
#include <random>
#include <string>
#include <vector>

#include "DatabaseFixture.h"
#include "platform/database/Connection.h"
#include "platform/database/Statement.h"

namespace {

constexpr std::size_t PAGE_SIZE = 512;
using Bytes = std::vector<unsigned char>;

class CorruptFileTest : public DatabaseFixture {
 protected:
  // Tables of several pages each.
  Bytes largeFile() const {
    const std::string rows =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 16) INSERT INTO ";
    std::string sql = "PRAGMA page_size = 512; BEGIN;" + std::string(DeviceFile::TABLES);
    sql += "INSERT INTO context_ip VALUES (1, 2, 10, 'router');";
    sql += rows + "dyn_if SELECT i, 'eth' || i FROM n;";
    sql += rows + "ip_interface SELECT i, 1, 2, 10, 'LAN' || i, i, 3 FROM n;";
    sql += rows + "ip_interface_address SELECT i, i, 2, 10, '10.' || i || '.0.0/16' FROM n;";
    file_.execute(sql + "COMMIT;");
    return file_.bytes();
  }

  // What the file yields, or why nothing.
  Walk read(const Bytes& bytes) {
    file_.setBytes(bytes);
    DB::Database database;
    Walk result{database.open(file_.path()), ""};
    if (result.result.isErr()) return result;
    loop_.provide(&database);
    result = walk();
    loop_.provide(&database_);
    return result;
  }
};

// Puts a number in the file format's byte order.
void put(Bytes& bytes, std::size_t at, std::uint32_t value, int size) {
  for (int i = size - 1; i >= 0; --i, value >>= 8U) bytes[at + static_cast<std::size_t>(i)] = value & 0xFFU;
}

// Turns the page at an offset into an interior one whose 41 references all name the same child.
void makeInterior(Bytes& bytes, std::size_t page, std::uint32_t child) {
  constexpr std::uint32_t CELLS = 40;
  constexpr std::uint32_t CELL_SIZE = 5;
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(page), PAGE_SIZE, static_cast<unsigned char>(0));
  bytes[page] = 5;
  put(bytes, page + 3, CELLS, 2);
  put(bytes, page + 5, PAGE_SIZE - CELLS * CELL_SIZE, 2);
  put(bytes, page + 8, child, 4);
  for (std::uint32_t cell = 0; cell < CELLS; ++cell) {
    const std::uint32_t at = PAGE_SIZE - (cell + 1) * CELL_SIZE;
    put(bytes, page + 12 + cell * 2, at, 2);
    put(bytes, page + at, child, 4);
    bytes[page + at + 4] = static_cast<unsigned char>(cell + 1);
  }
}

// Nothing in a file has to have an index.
TEST_F(CorruptFileTest, ThousandsOfInterfacesAreNotTooMuch) {
  const std::string rows =
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5500) INSERT INTO ";
  std::string sql = "BEGIN; INSERT INTO context_ip VALUES (1, 2, 10, 'router');";
  sql += rows + "dyn_if SELECT i, 'eth' || i FROM n;";
  sql += rows + "ip_interface SELECT i, 1, 2, 10, 'LAN' || i, i, 3 FROM n;";
  sql += rows +
         "ip_interface_address SELECT 5501 - i, i, 2, 10, '10.' || (i / 256) || '.' || (i % 256) || '.0/24' FROM n;";
  // Bytes that look like the key of an interface are none.
  sql += "INSERT INTO ip_interface_address VALUES (6000, x'37', 2, 10, '192.168.7.0/24'); COMMIT;";
  openWith(sql);
  for (int again = 0; again < 2; ++again) {
    const Walk walked = walk();
    ASSERT_TRUE(walked.result.isSuccess()) << walked.result.toString().c_str();
    EXPECT_NE(walked.text.find("- LAN5500 eth5500 up 10.21.124.0/24\n"), std::string::npos);
    EXPECT_EQ(walked.text.find("192.168.7.0/24"), std::string::npos);
  }
}

TEST_F(CorruptFileTest, FlippedBytesNeverCrash) {
  const Bytes intact = largeFile();
  const std::string expected = read(intact).text;
  ASSERT_GT(expected.size(), 400U);
  std::mt19937 random(20'261'120);
  unsigned refused = 0;
  unsigned failed = 0;
  for (int round = 0; round < 300; ++round) {
    Bytes bytes = intact;
    for (auto flips = 1 + random() % 8; flips > 0; --flips) {
      bytes[random() % bytes.size()] ^= static_cast<unsigned char>(1U << (random() % 8));
    }
    const Walk walked = read(bytes);
    if (walked.result.isErr()) ++(walked.text.empty() ? refused : failed);
  }
  // Both ways of failing were met, and the loop still reads what is intact.
  EXPECT_GT(refused, 0U);
  EXPECT_GT(failed, 0U);
  EXPECT_EQ(read(intact).text, expected);
}

TEST_F(CorruptFileTest, FilesCutShortNeverCrash) {
  const Bytes intact = largeFile();
  unsigned failed = 0;
  for (std::size_t size = 0; size < intact.size(); size += 61) {
    if (read(Bytes(intact.begin(), intact.begin() + static_cast<std::ptrdiff_t>(size))).result.isErr()) ++failed;
  }
  EXPECT_GT(failed, 0U);
}

TEST_F(CorruptFileTest, PageOfNonsenseShowsInTheCommit) {
  Bytes bytes = largeFile();
  const std::size_t root = bytes.size() - PAGE_SIZE;
  for (std::size_t i = PAGE_SIZE * 3; i < root; ++i) bytes[i] = 0xA5;
  const Walk walked = read(bytes);
  ASSERT_TRUE(walked.result.isErr());
  EXPECT_TRUE(walked.result.toString().view().ends_with("database disk image is malformed"))
      << walked.result.toString().c_str();
}

// Five levels of pages, each with 41 references to the next: 115 million pages to visit in a file of some kilobytes.
TEST_F(CorruptFileTest, PagesThatReferToEachOtherEndWithAnError) {
  std::string sql = "PRAGMA page_size = 512;" + std::string(DeviceFile::TABLES);
  for (int i = 0; i < 20; ++i) sql += "INSERT INTO context_ip VALUES (NULL, 0, 0, 'x');";
  file_.execute(sql);
  KXLWPtr<DB::Connection> connection(new DB::Connection("file"_s));
  ASSERT_TRUE(connection->openFile(file_.path()).isSuccess());
  std::size_t root = 0;
  {
    DB::Statement statement(*connection, "SELECT rootpage FROM sqlite_schema WHERE name = 'context_ip'");
    ASSERT_TRUE(statement.step());
    root = (static_cast<std::size_t>(*statement.integer(0)) - 1) * PAGE_SIZE;
  }
  connection.reset();

  Bytes bytes = file_.bytes();
  const Bytes leaf(bytes.begin() + static_cast<std::ptrdiff_t>(root),
                   bytes.begin() + static_cast<std::ptrdiff_t>(root + PAGE_SIZE));
  std::size_t page = root;
  for (int level = 0; level < 5; ++level) {
    const auto next = static_cast<std::uint32_t>(bytes.size() / PAGE_SIZE + 1);
    makeInterior(bytes, page, next);
    page = bytes.size();
    bytes.insert(bytes.end(), leaf.begin(), leaf.end());
  }
  put(bytes, 28, static_cast<std::uint32_t>(bytes.size() / PAGE_SIZE), 4);  // the number of pages

  const Walk walked = read(bytes);
  EXPECT_EQ(walked.text, "");
  ASSERT_TRUE(walked.result.isErr());
  EXPECT_TRUE(walked.result.toString().view().ends_with(": Too much to read")) << walked.result.toString().c_str();
}

}  // namespace
