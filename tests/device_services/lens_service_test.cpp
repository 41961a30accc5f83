#include "services/lens_service.h"

#include <gtest/gtest.h>

#include <array>

#include "private_bus.h"

namespace device {
namespace {

class LensServiceTest : public testing::Test {
 protected:
  static double number(BusClient& client, const char* name) {
    const auto value = client.property(name);
    if (!value || !g_variant_is_of_type(value->get(), G_VARIANT_TYPE_DOUBLE)) {
      return -1;
    }
    return g_variant_get_double(value->get());
  }

  static int rotation(BusClient& client) {
    const auto value = client.property("SensorRotation");
    if (!value || !g_variant_is_of_type(value->get(), G_VARIANT_TYPE_INT32)) {
      return -1;
    }
    return g_variant_get_int32(value->get());
  }

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  std::array<Lens, 2> lenses = {{{97.5, 54.25, 0}, {50, 90, 270}}};
  LensService service{connection.get(), lenses};
};

TEST_F(LensServiceTest, EachChannelFromZeroHasItsLens) {
  BusClient first("com.orva.M12LensSelectionFov", "/com/orva/M12LensSelectionFov/0");
  EXPECT_EQ(97.5, number(first, "OpticsWideHFoV"));
  EXPECT_EQ(54.25, number(first, "OpticsWideVFoV"));
  EXPECT_EQ(0, rotation(first));
  BusClient second("com.orva.M12LensSelectionFov", "/com/orva/M12LensSelectionFov/1");
  EXPECT_EQ(50, number(second, "OpticsWideHFoV"));
  EXPECT_EQ(90, number(second, "OpticsWideVFoV"));
  EXPECT_EQ(270, rotation(second));
}

TEST_F(LensServiceTest, OtherChannelsDoNotExist) {
  BusClient none("com.orva.M12LensSelectionFov", "/com/orva/M12LensSelectionFov/2");
  EXPECT_EQ(std::nullopt, none.property("SensorRotation"));
}

}  // namespace
}  // namespace device
