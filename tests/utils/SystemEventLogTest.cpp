// Records of doSystemLog over a fake event log: type by severity, category by mask.
#include <string>
#include <vector>

#include "utils/SystemTestSupport.h"

using systemtest::FakeHostTest;
using systemtest::sys;

TEST_F(FakeHostTest, SeverityGivesTheTypeAndTheMaskOfEventClassesTheCategoryFirstMatchFirst) {
  std::string types;
  for (int severity = -1; severity <= 6; ++severity) {
    EXPECT_TRUE(sys().doSystemLog("m", 7, severity, 65535));
    types += std::to_string(fake.events.records.back().type);
  }
  // -1 to 6: warning, information, warning, error three times, warning twice.
  EXPECT_EQ("24211122", types);
  const struct { int locale; unsigned category; } rows[] = {
      {65535, 9}, {240, 10}, {64, 7}, {65, 7}, {1, 1}, {2, 2}, {4, 3}, {8, 4}, {16, 5}, {32, 6}, {128, 8},
      {3, 1}, {48, 5}, {192, 7}, {241, 7}, {65536 + 240, 10}, {-1, 9}, {0, 9}, {256, 9},
  };
  systemtest::LogMark mark;
  for (const auto& row : rows) {
    ASSERT_TRUE(sys().doSystemLog("m", 1, 0, row.locale));
    EXPECT_EQ(row.category, fake.events.records.back().category) << row.locale;
  }
  // Only masks without a known class are reported, as 16 bits.
  std::vector<std::string> unsupported;
  for (const std::string& entry : mark.entries()) {
    if (entry.find("doSystemLog") == std::string::npos) unsupported.push_back(entry);
  }
  EXPECT_EQ((std::vector<std::string>{"Info: Received unsupported locale 0", "Info: Received unsupported locale 256"}),
            unsupported);
}

TEST_F(FakeHostTest, ARecordCarriesSourceIdentifierAndTheMessageUpToItsFirstNul) {
  EXPECT_TRUE(sys().doSystemLog(std::string("disk lost\0hidden", 16), -5, 2, 240));
  ASSERT_EQ(1u, fake.events.records.size());
  const auto& record = fake.events.records[0];
  EXPECT_EQ("Norvane_MONITOR|1|10|-5|disk lost", record.source + "|" + std::to_string(record.type) + "|" +
                                                     std::to_string(record.category) + "|" +
                                                     std::to_string(record.eventId) + "|" + record.text);
  // Only an unreachable log fails; a record refused after registering counts.
  fake.events.takesRecords = false;
  EXPECT_TRUE(sys().doSystemLog("m", 1, 0, 1));
  fake.events.reachable = false;
  EXPECT_FALSE(sys().doSystemLog("m", 1, 0, 1));
  EXPECT_EQ(1u, fake.events.records.size());
}
