#include "tracker/head_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "config/persistent.h"
#include "fakes/log_capture.h"
#include "support/temporary_folder.h"

namespace {

using following::SpeedLevel;

class HeadFileTest : public testing::Test {
 protected:
  HeadFileTest() { Persistent::setPathForTest(folder.path("settings.json")); }
  ~HeadFileTest() override { Persistent::setPathForTest(""); }

  static following::HeadParameters head() {
    following::HeadParameters known;
    const std::vector<SpeedLevel> pan{{3, 2.5}, {35, 40.25}, {100, 120.5}};
    const std::vector<SpeedLevel> tilt{{5, 4.0}, {100, 80.0}};
    known.pan.curve = following::SpeedCurve(pan, 1);
    known.pan.deadTime = 0.25;
    known.pan.acceleration = 312.5;
    known.tilt.curve = following::SpeedCurve(tilt, 5);
    known.tilt.deadTime = 0.3;
    known.tilt.acceleration = 150.0;
    return known;
  }

  std::string text() const { return readText(folder.path("head.json")); }

  void write(const std::string& text) const { writeText(folder.path("head.json"), text); }

  // The stored text with something in the place of something else.
  void change(const std::string& from, const std::string& to) const {
    HeadFile::store("TRK-100", head());
    std::string stored = text();
    const std::size_t place = stored.find(from);
    ASSERT_NE(place, std::string::npos) << stored;
    write(stored.replace(place, from.size(), to));
  }

  TemporaryFolder folder;
  const LogCapture log;
};

TEST_F(HeadFileTest, WhatWasStoredIsReadAgain) {
  HeadFile::store("TRK-100", head());
  const auto known = HeadFile::load("TRK-100");
  ASSERT_TRUE(known);
  EXPECT_DOUBLE_EQ(known->pan.deadTime, 0.25);
  EXPECT_DOUBLE_EQ(known->pan.acceleration, 312.5);
  ASSERT_EQ(known->pan.curve.levels().size(), 3u);
  EXPECT_EQ(known->pan.curve.levels()[1].percent, 35);
  EXPECT_DOUBLE_EQ(known->pan.curve.levels()[1].speed, 40.25);
  EXPECT_DOUBLE_EQ(known->tilt.deadTime, 0.3);
  EXPECT_EQ(known->tilt.curve.step(), 5);
  EXPECT_DOUBLE_EQ(known->tilt.curve.fastest(), 80.0);
}

TEST_F(HeadFileTest, StandsBesideTheSettingsInOnePiece) {
  HeadFile::store("TRK-100", head());
  EXPECT_THAT(text(), testing::StartsWith(R"({"version":1,"product":"TRK-100","pan":{)"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 1);
}

TEST_F(HeadFileTest, NothingIsKnownAndNothingLoggedAtFirst) {
  EXPECT_FALSE(HeadFile::load("TRK-100"));
  EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(HeadFileTest, AnotherHeadIsRefused) {
  HeadFile::store("TRK-100", head());
  EXPECT_FALSE(HeadFile::load("TRK-200"));
  EXPECT_EQ(LogCapture::count("The head is another one than before, it is identified anew.\n"), 1);
}

TEST_F(HeadFileTest, AnotherVersionIsRefused) {
  change("\"version\":1", "\"version\":2");
  EXPECT_FALSE(HeadFile::load("TRK-100"));
}

TEST_F(HeadFileTest, WhatIsNoDocumentIsRefused) {
  for (const char* wrong : {"", "{", "[]", "7", R"({"version":"1","product":"TRK-100"})"}) {
    write(wrong);
    EXPECT_FALSE(HeadFile::load("TRK-100")) << wrong;
  }
  EXPECT_EQ(LogCapture::count("What is known of the head cannot be read, it is identified anew.\n"),
            5);
}

struct Wrong {
  const char* from;
  const char* to;
};

void PrintTo(const Wrong& wrong, std::ostream* out) {
  *out << wrong.to;
}

class WrongHeadFileTest : public HeadFileTest, public testing::WithParamInterface<Wrong> {};

TEST_P(WrongHeadFileTest, WhatNoHeadIsIsRefused) {
  change(GetParam().from, GetParam().to);
  EXPECT_FALSE(HeadFile::load("TRK-100"));
  EXPECT_EQ(LogCapture::count("What is known of the head cannot be, it is identified anew.\n"), 1);
}

INSTANTIATE_TEST_SUITE_P(Values, WrongHeadFileTest,
                         testing::Values(Wrong{"\"dead_time_s\":0.25", "\"dead_time_s\":-1.0"},
                                         Wrong{"\"dead_time_s\":0.25", "\"dead_time_s\":\"x\""},
                                         Wrong{"\"acceleration\":312.5", "\"acceleration\":0.0"},
                                         Wrong{"\"step\":1", "\"step\":0"},
                                         Wrong{"[3,2.5]", "[3,-2.5]"},
                                         Wrong{"[3,2.5]", "[300,2.5]"}, Wrong{"[3,2.5]", "[3]"},
                                         Wrong{"[35,40.25]", "[2,40.25]"},
                                         Wrong{"[35,40.25]", "null"},
                                         Wrong{"\"tilt\"", "\"roll\""}));

TEST_F(HeadFileTest, AFileThatCannotBeWrittenIsLogged) {
  Persistent::setPathForTest(folder.path("no/such/settings.json"));
  HeadFile::store("TRK-100", head());
  EXPECT_EQ(LogCapture::count("What was identified of the head could not be kept.\n"), 1);
}

}  // namespace
