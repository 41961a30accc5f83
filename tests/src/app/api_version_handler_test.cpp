#include "app/api_version_handler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "fakes/log_capture.h"

namespace {

API_VersionHandler handlerOf(const std::vector<const char*>& texts) {
  return {texts.data(), texts.size()};
}

std::vector<std::string> textsOf(const std::vector<API_Version>& versions) {
  std::vector<std::string> texts;
  for (const API_Version& version : versions) {
    texts.push_back(version.toString());
  }
  return texts;
}

using Texts = std::vector<std::string>;

TEST(ApiVersionHandlerTest, TheOneVersionOfTheApplicationIsSupported) {
  EXPECT_TRUE(handlerOf({"1.0"}).isSupported(API_Version("1.0")));
}

TEST(ApiVersionHandlerTest, AHigherMinorIsNotSupported) {
  EXPECT_FALSE(handlerOf({"1.0"}).isSupported(API_Version("1.1")));
}

TEST(ApiVersionHandlerTest, AnotherMajorIsNotSupported) {
  EXPECT_FALSE(handlerOf({"1.0"}).isSupported(API_Version("2.0")));
  EXPECT_FALSE(handlerOf({"1.0"}).isSupported(API_Version("0.0")));
}

TEST(ApiVersionHandlerTest, ATextWithoutMinorIsNotSupportedAndLogsTheFormat) {
  const LogCapture log;
  EXPECT_FALSE(handlerOf({"1.0"}).isSupported(API_Version("1")));
  EXPECT_EQ(log.count("unsupported format on version 1, it should be major.minor\n"), 1);
}

TEST(ApiVersionHandlerTest, AnInvalidVersionIsNotSupportedEvenWithZeroInTheList) {
  EXPECT_FALSE(handlerOf({"0.0", "1.0"}).isSupported(API_Version()));
}

TEST(ApiVersionHandlerTest, ALowerMinorOfTheSameMajorIsSupported) {
  const API_VersionHandler handler = handlerOf({"1.3"});
  EXPECT_TRUE(handler.isSupported(API_Version("1.0")));
  EXPECT_TRUE(handler.isSupported(API_Version("1.3")));
  EXPECT_FALSE(handler.isSupported(API_Version("1.4")));
}

TEST(ApiVersionHandlerTest, TheHighestOfTheMajorDecidesWhatIsSupported) {
  const API_VersionHandler handler = handlerOf({"1.5", "1.0", "2.2"});
  EXPECT_TRUE(handler.isSupported(API_Version("1.4")));
  EXPECT_FALSE(handler.isSupported(API_Version("1.6")));
  EXPECT_TRUE(handler.isSupported(API_Version("2.2")));
  EXPECT_FALSE(handler.isSupported(API_Version("2.3")));
}

TEST(ApiVersionHandlerTest, VersionsAreSortedAscending) {
  EXPECT_EQ(textsOf(handlerOf({"2.0", "1.10", "1.9", "0.1"}).getVersions()),
            (Texts{"0.1", "1.9", "1.10", "2.0"}));
}

TEST(ApiVersionHandlerTest, SortingKeepsTheOrderOfEqualEntries) {
  EXPECT_EQ(textsOf(handlerOf({"2.0", "1.00", "1.0", "01.0"}).getVersions()),
            (Texts{"1.00", "1.0", "01.0", "2.0"}));
}

TEST(ApiVersionHandlerTest, FindsTheHighestMinorOfAMajor) {
  const API_VersionHandler handler = handlerOf({"1.2", "1.10", "2.0", "1.9"});
  EXPECT_EQ(handler.findHighestSupportedVersion(1).toString(), "1.10");
  EXPECT_EQ(handler.getHighestSupportedVersion(1).toString(), "1.10");
  EXPECT_EQ(handler.findHighestSupportedVersion(2).toString(), "2.0");
}

TEST(ApiVersionHandlerTest, OfTwoEqualEntriesTheFirstIsFound) {
  const API_VersionHandler handler = handlerOf({"1.00", "1.0"});
  EXPECT_EQ(handler.findHighestSupportedVersion(1).toString(), "1.00");
  EXPECT_EQ(handler.getHighestSupportedVersion(1).toString(), "1.00");
}

TEST(ApiVersionHandlerTest, AMajorThatIsNotInTheListGivesAnInvalidVersion) {
  EXPECT_FALSE(handlerOf({"1.0"}).findHighestSupportedVersion(2).isValid());
  EXPECT_FALSE(handlerOf({"1.0"}).getHighestSupportedVersion(2).isValid());
}

TEST(ApiVersionHandlerTest, TheHighestOfAllIsTheLastOfTheSortedList) {
  EXPECT_EQ(handlerOf({"2.1", "10.0", "2.15"}).getHighestSupportedVersion().toString(), "10.0");
  EXPECT_EQ(handlerOf({"1.0"}).getHighestSupportedVersion().toString(), "1.0");
}

TEST(ApiVersionHandlerTest, AnEmptyListKnowsNothing) {
  const API_VersionHandler handler = handlerOf({});
  EXPECT_FALSE(handler.getHighestSupportedVersion().isValid());
  EXPECT_FALSE(handler.findHighestSupportedVersion(1).isValid());
  EXPECT_FALSE(handler.isSupported(API_Version("1.0")));
  EXPECT_TRUE(handler.getSupportedVersions(API_Version("1.0")).empty());
  EXPECT_EQ(handler.toString(), "");
}

TEST(ApiVersionHandlerTest, SupportedVersionsAreThoseThatTheGivenOneCanSpeakHighestFirst) {
  const API_VersionHandler handler = handlerOf({"2.0", "1.0", "1.3", "1.1", "1.2"});
  EXPECT_EQ(textsOf(handler.getSupportedVersions(API_Version("1.2"))),
            (Texts{"1.2", "1.1", "1.0"}));
  EXPECT_EQ(textsOf(handler.getSupportedVersions(API_Version("1.9"))),
            (Texts{"1.3", "1.2", "1.1", "1.0"}));
  EXPECT_EQ(textsOf(handler.getSupportedVersions(API_Version("2.0"))), Texts{"2.0"});
  EXPECT_TRUE(handler.getSupportedVersions(API_Version("3.0")).empty());
}

TEST(ApiVersionHandlerTest, AnInvalidVersionCanSpeakNothing) {
  EXPECT_TRUE(handlerOf({"0.0", "1.0"}).getSupportedVersions(API_Version()).empty());
}

TEST(ApiVersionHandlerTest, PrintsAllVersions) {
  EXPECT_EQ(handlerOf({"1.0"}).toString(), "1.0");
  EXPECT_EQ(handlerOf({"1.1", "1.0"}).toString(), "1.0, 1.1");
}

TEST(ApiVersionHandlerTest, AgreesWithASearchThroughRandomLists) {
  std::mt19937 random(64);
  std::uniform_int_distribution<int> number(0, 3);
  for (int round = 0; round < 300; ++round) {
    std::vector<std::pair<int, int>> numbers(number(random));
    std::vector<std::string> texts;
    for (auto& [major, minor] : numbers) {
      major = number(random);
      minor = number(random);
      texts.push_back(std::to_string(major) + "." + std::to_string(minor));
    }
    std::vector<const char*> pointers;
    std::transform(texts.begin(), texts.end(), std::back_inserter(pointers),
                   [](const std::string& text) { return text.c_str(); });
    const std::pair asked(number(random), number(random));
    const bool expected = std::any_of(numbers.begin(), numbers.end(), [asked](auto entry) {
      return entry.first == asked.first && entry.second >= asked.second;
    });
    const API_Version version(std::to_string(asked.first) + "." + std::to_string(asked.second));
    EXPECT_EQ(handlerOf(pointers).isSupported(version), expected);
  }
}

}  // namespace
