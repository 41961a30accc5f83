#include <gtest/gtest.h>

#include <string>

#include "config/constants.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "config/status_exception.h"
#include "src/events/wrapper_test_base.h"

namespace {

// What kind of device it is is read once for the process: each test asks in a process of its own,
// as ctest runs them.
class DataBoundariesTest : public InitializedWrapperTest {
 protected:
  static void makeMechanical() { FakeParameters::set("root.Properties.PTZ.PTZ", "yes"); }

  static void makeMultiCamera() {
    FakeParameters::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
    FakeParameters::set("root.ImageSource.NbrOfSources", "4");
  }

  // Boundaries that tell the kinds of devices apart.
  static DataBoundaries distinct() {
    DataBoundaries boundaries;
    boundaries.profilesFixedCameraMax = 101;
    boundaries.profilesMechanicalPtzMax = 102;
    boundaries.profilesMultiCameraMax = 103;
    return boundaries;
  }
};

TEST_F(DataBoundariesTest, TheLimitsAreThoseOfTheApplication) {
  const DataBoundaries limits;
  EXPECT_EQ(limits.shortLivedMax, 5);
  EXPECT_EQ(limits.shortLivedMin, 1);
  EXPECT_EQ(limits.excludeAreasMax, 3);
  EXPECT_EQ(limits.excludeAreasMin, 0);
  EXPECT_EQ(limits.includeAreasMax, 1);
  EXPECT_EQ(limits.includeAreasMin, 1);
  EXPECT_EQ(limits.loiteringAreasMax, 0);
  EXPECT_EQ(limits.loiteringAreasMin, 0);
  EXPECT_EQ(limits.fencesMax, 0);
  EXPECT_EQ(limits.fencesMin, 0);
  EXPECT_EQ(limits.verticesMax, 20);
  EXPECT_EQ(limits.verticesMin, 3);
  EXPECT_EQ(limits.conditionParameters.size(), 8U);
  for (const int parameter : limits.conditionParameters) {
    EXPECT_EQ(parameter, 0);
  }
  EXPECT_EQ(limits.sizePercentWidthMax, 100);
  EXPECT_EQ(limits.sizePercentWidthMin, 3);
  EXPECT_EQ(limits.sizePercentHeightMax, 100);
  EXPECT_EQ(limits.sizePercentHeightMin, 3);
  EXPECT_EQ(limits.swayingPercentMax, 20);
  EXPECT_EQ(limits.swayingPercentMin, 3);
  EXPECT_EQ(limits.presetsPerProfileMax, 1);
  EXPECT_EQ(limits.nameLengthMin, 1);
  EXPECT_EQ(limits.nameLengthMax, 15);
  EXPECT_EQ(limits.profilesFixedCameraMax, 3);
  EXPECT_EQ(limits.profilesMechanicalPtzMax, 10);
  EXPECT_EQ(limits.profilesMultiCameraMax, 3);
}

TEST_F(DataBoundariesTest, AFixedCameraHasItsOwnNumberOfProfiles) {
  EXPECT_EQ(distinct().getMaxNumberProfilesPerCamera(), 101);
}

TEST_F(DataBoundariesTest, AMechanicalHeadHasItsOwnNumberOfProfiles) {
  makeMechanical();
  EXPECT_EQ(distinct().getMaxNumberProfilesPerCamera(), 102);
}

TEST_F(DataBoundariesTest, AMultiCameraDeviceHasItsOwnNumberOfProfiles) {
  makeMultiCamera();
  EXPECT_EQ(distinct().getMaxNumberProfilesPerCamera(), 103);
}

TEST_F(DataBoundariesTest, SeveralCamerasCountMoreThanAMechanicalHead) {
  makeMultiCamera();
  makeMechanical();
  EXPECT_EQ(distinct().getMaxNumberProfilesPerCamera(), 103);
}

TEST(DefaultValuesTest, AreThoseOfTheApplication) {
  const DefaultValues defaults;
  EXPECT_EQ(defaults.sizePercentWidth, 5);
  EXPECT_EQ(defaults.sizePercentHeight, 5);
  EXPECT_TRUE(defaults.sizePercentActive);
  EXPECT_EQ(defaults.shortLived, 1);
  EXPECT_TRUE(defaults.shortLivedActive);
  EXPECT_EQ(defaults.swayingPercent, 5);
  EXPECT_TRUE(defaults.swayingActive);
  EXPECT_EQ(defaults.individualCondition, 0);
  EXPECT_FALSE(defaults.individualConditionActive);
  EXPECT_EQ(defaults.groupCondition, 0);
  EXPECT_FALSE(defaults.groupConditionActive);
  EXPECT_EQ(defaults.includeArea.xMin, -0.97);
  EXPECT_EQ(defaults.includeArea.xMax, 0.97);
  EXPECT_EQ(defaults.includeArea.yMin, -0.97);
  EXPECT_EQ(defaults.includeArea.yMax, 0.97);
  EXPECT_EQ(defaults.alarmDirection, "leftToRight");
  EXPECT_EQ(defaults.loiteringAndFence.xMin, -0.2);
  EXPECT_EQ(defaults.loiteringAndFence.xMax, 0.2);
  EXPECT_EQ(defaults.loiteringAndFence.yMin, -0.2);
  EXPECT_EQ(defaults.loiteringAndFence.yMax, 0.2);
  EXPECT_EQ(defaults.preset, -2);
}

TEST(ConstantsTest, TextsAreThoseThatClientsKnow) {
  EXPECT_STREQ(constants::CURRENT_VERSION, "2.15");
  EXPECT_STREQ(constants::API_VERSION_1_0, "1.0");
  EXPECT_STREQ(constants::APP_NAME, "SentrelVideo");
  EXPECT_STREQ(constants::VISUAL_CONFIRMATION_EVENT, "xinternal_data");
  EXPECT_STREQ(constants::INTERNAL_STATE_EVENT, "xinternal_state");
  EXPECT_STREQ(constants::OFF, "off");
  EXPECT_STREQ(constants::LEFT_TO_RIGHT, "leftToRight");
  EXPECT_STREQ(constants::RIGHT_TO_LEFT, "rightToLeft");
  EXPECT_STREQ(constants::BOTH_DIRECTIONS, "both");
  EXPECT_STREQ(constants::CONFIGURATION_PATH,
               "/usr/local/packages/sentrelvideo/localdata/config.json");
  EXPECT_STREQ(constants::SETTINGS_PATH,
               "/usr/local/packages/sentrelvideo/localdata/sentrelvideo.json");
}

TEST(StatusExceptionTest, CarriesMessageAndStatus) {
  const StatusException exception("Could not get 'params': ", StatusCode_e::missingParameter);
  EXPECT_STREQ(exception.what(), "Could not get 'params': ");
  EXPECT_EQ(exception.getStatus(), StatusCode_e::missingParameter);
}

TEST(StatusExceptionTest, TheStatusNumbersAreThoseOfTheApi) {
  EXPECT_EQ(static_cast<int>(StatusCode_e::ok), 0);
  EXPECT_EQ(static_cast<int>(StatusCode_e::malformed), 2);
  EXPECT_EQ(static_cast<int>(StatusCode_e::missingParameter), 4);
  EXPECT_EQ(static_cast<int>(StatusCode_e::invalidParameter), 8);
  EXPECT_EQ(static_cast<int>(StatusCode_e::contradiction), 16);
  EXPECT_EQ(static_cast<int>(StatusCode_e::internalError), 256);
}

TEST(StatusExceptionTest, IsThrownWhenTheConditionHolds) {
  EXPECT_THROW(throwIf(true, "message", StatusCode_e::contradiction), StatusException);
}

TEST(StatusExceptionTest, IsNotThrownOtherwise) {
  EXPECT_NO_THROW(throwIf(false, "message", StatusCode_e::contradiction));
}

}  // namespace
