#include "camera/camera_configuration_container.h"

#include <gtest/gtest.h>

#include "src/camera/test_camera.h"
#include "src/events/wrapper_test_base.h"

namespace {

constexpr const char* DUPLICATE =
    "Cannot insert duplicate configs in a CameraConfigurationContainer, camera nbr = 1 camera "
    "rotation = 90\n";

class CameraConfigurationContainerTest : public InitializedWrapperTest {
 protected:
  CameraConfiguration::Guards oneGuard(const std::string& label) {
    CameraConfiguration::Guards guards;
    guards.push_back(std::make_unique<NotingGuard>(label, 1, 1, producer, notes));
    return guards;
  }

  RecordingProducer producer;
  Notes notes;
  CameraConfigurationContainer container;
};

TEST_F(CameraConfigurationContainerTest, ConfigurationsAreEqualWhenBothNumbersAre) {
  const CameraConfiguration configuration(1, 90, {});
  EXPECT_TRUE(configuration == CameraConfiguration(1, 90, oneGuard("a")));
  EXPECT_FALSE(configuration == CameraConfiguration(2, 90, {}));
  EXPECT_FALSE(configuration == CameraConfiguration(1, 0, {}));
}

TEST_F(CameraConfigurationContainerTest, KeepsConfigurationsInOrder) {
  EXPECT_TRUE(container.insert({2, 0, {}}));
  EXPECT_TRUE(container.insert({1, 0, {}}));
  ASSERT_EQ(container.getConfigurations().size(), 2U);
  EXPECT_EQ(container.getConfigurations()[0].cameraNbr, 2);
  EXPECT_EQ(container.getConfigurations()[1].cameraNbr, 1);
}

TEST_F(CameraConfigurationContainerTest, ASecondOneForTheSameChannelAndRotationIsRefused) {
  EXPECT_TRUE(container.insert({1, 90, oneGuard("first")}));
  EXPECT_FALSE(container.insert({1, 90, oneGuard("second")}));
  EXPECT_EQ(log.count(DUPLICATE), 1);
  EXPECT_EQ(notes.take(), std::vector<std::string>({"second gone"}));
  EXPECT_EQ(container.getConfigurations().size(), 1U);
}

TEST_F(CameraConfigurationContainerTest, AnotherRotationIsNoDuplicate) {
  EXPECT_TRUE(container.insert({1, 90, {}}));
  EXPECT_TRUE(container.insert({1, 180, {}}));
  EXPECT_EQ(container.getConfigurations().size(), 2U);
  EXPECT_EQ(log.count(DUPLICATE), 0);
}

}  // namespace
