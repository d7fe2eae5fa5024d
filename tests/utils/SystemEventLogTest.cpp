// Records of doSystemLog over a fake event log: type by severity, category by mask.
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
  std::string categories;
  systemtest::LogMark mark;
  for (int mask : {65535, 240, 64, 65, 1, 2, 4, 8, 16, 32, 128, 3, 48, 192, 241, 65536 + 240, -1, 0, 256}) {
    ASSERT_TRUE(sys().doSystemLog("m", 1, 0, mask));
    categories += std::to_string(fake.events.records.back().category) + " ";
  }
  EXPECT_EQ("9 10 7 7 1 2 3 4 5 6 8 1 5 7 7 10 9 9 9 ", categories);
  // Only masks without a known class are reported, as 16 bits.
  EXPECT_EQ("Info: Received unsupported locale 0|Info: Received unsupported locale 256", systemtest::joined(mark.messages()));
  // A record carries source, type, category, identifier and the message up to its
  // first NUL. Only an unreachable log fails; a record refused after registering counts.
  fake.events.records.clear();
  EXPECT_TRUE(sys().doSystemLog(std::string("disk lost\0hidden", 16), -5, 2, 240));
  const auto& record = fake.events.records.at(0);
  EXPECT_EQ("Norvane_MONITOR|1|10|-5|disk lost", record.source + "|" + std::to_string(record.type) + "|" +
                                                     std::to_string(record.category) + "|" +
                                                     std::to_string(record.eventId) + "|" + record.text);
  fake.events.takesRecords = false;
  EXPECT_TRUE(sys().doSystemLog("m", 1, 0, 1));
  fake.events.reachable = false;
  EXPECT_FALSE(sys().doSystemLog("m", 1, 0, 1));
}
