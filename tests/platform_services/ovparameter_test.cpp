#include "ovparameter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "platform/owners.h"
#include "platform_services/test_bus.h"
#include "test_services.h"

namespace {

using Values = std::map<std::string, std::string>;

// Answers from a table; the name "silent" is never answered.
class ParameterService {
 public:
  explicit ParameterService(Values values)
      : values(std::move(values)),
        service("com.orva.ParameterService", "/com/orva/ParameterService", [this] {
          auto* skeleton = test_services_parameter_service_skeleton_new();
          g_signal_connect(skeleton, "handle-get", G_CALLBACK(&ParameterService::onGet), this);
          return G_DBUS_INTERFACE_SKELETON(skeleton);
        }) {}

  ~ParameterService() {
    service.getLoop().invoke([this] {
      if (silent == nullptr) {
        return;
      }
      g_dbus_method_invocation_return_error_literal(silent, G_DBUS_ERROR, G_DBUS_ERROR_FAILED,
                                                    "too late");
    });
  }

 private:
  static gboolean onGet(TestServicesParameterService* skeleton, GDBusMethodInvocation* invocation,
                        const char* name, ParameterService* self) {
    if (std::string(name) == "silent") {
      self->silent = invocation;
      return TRUE;
    }
    const auto found = self->values.find(name);
    if (found == self->values.end()) {
      g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                            "No parameter %s", name);
    } else {
      test_services_parameter_service_complete_get(skeleton, invocation, found->second.c_str());
    }
    return TRUE;
  }

  const Values values;
  GDBusMethodInvocation* silent = nullptr;
  TestService service;
};

class ParameterTest : public testing::Test {
 protected:
  ParameterTest() { PrivateBus::address(); }

  static std::string get(OVParameter* handle, const char* name) {
    char* value = nullptr;
    GError* error = nullptr;
    EXPECT_TRUE(ov_parameter_get(handle, name, &value, &error)) << takeMessage(error);
    const GTextPtr owned(value);
    return value == nullptr ? "" : value;
  }
};

TEST_F(ParameterTest, ReadsTheValueOfTheName) {
  const ParameterService service(
      Values{{"root.Brand.ProdNbr", "K47-2"}, {"Brand.ProdNbr", "other"}});
  const ParameterPtr handle(ov_parameter_new("App", nullptr));
  ASSERT_NE(nullptr, handle);
  EXPECT_EQ("K47-2", get(handle.get(), "root.Brand.ProdNbr"));
  EXPECT_EQ("other", get(handle.get(), "Brand.ProdNbr"));
}

TEST_F(ParameterTest, AnEmptyValueIsAValue) {
  const ParameterService service(Values{{"Empty", ""}});
  const ParameterPtr handle(ov_parameter_new("App", nullptr));
  char* value = nullptr;
  ASSERT_TRUE(ov_parameter_get(handle.get(), "Empty", &value, nullptr));
  const GTextPtr owned(value);
  EXPECT_STREQ("", value);
}

TEST_F(ParameterTest, AnAbsentParameterIsTheServicesErrorAndLeavesTheValueAlone) {
  const ParameterService service(Values{});
  const ParameterPtr handle(ov_parameter_new("App", nullptr));
  char before = 'x';
  char* value = &before;
  GError* error = nullptr;
  EXPECT_FALSE(ov_parameter_get(handle.get(), "Nothing", &value, &error));
  EXPECT_EQ(&before, value);
  EXPECT_TRUE(g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS));
  EXPECT_EQ("No parameter Nothing", takeMessage(error));
  EXPECT_FALSE(ov_parameter_get(handle.get(), "Nothing", &value, nullptr));
}

TEST_F(ParameterTest, WithoutAServiceThereIsNoHandle) {
  GError* error = nullptr;
  EXPECT_EQ(nullptr, ov_parameter_new("App", &error));
  EXPECT_EQ("No service com.orva.ParameterService on the system bus", takeMessage(error));
  EXPECT_EQ(nullptr, ov_parameter_new("App", nullptr));
}

TEST_F(ParameterTest, AnApplicationWithoutANameIsRefused) {
  const ParameterService service(Values{});
  GError* error = nullptr;
  EXPECT_EQ(nullptr, ov_parameter_new(nullptr, &error));
  EXPECT_EQ("The application has no name", takeMessage(error));
}

TEST_F(ParameterTest, BadArgumentsAreErrorsAndTheHandleGoesOn) {
  const ParameterService service(Values{{"A", "1"}});
  const ParameterPtr handle(ov_parameter_new("App", nullptr));
  char* value = nullptr;
  GError* error = nullptr;
  EXPECT_FALSE(ov_parameter_get(handle.get(), nullptr, &value, &error));
  EXPECT_EQ("The name of a parameter is no valid text", takeMessage(error));
  EXPECT_FALSE(ov_parameter_get(handle.get(), "\xff\xfe", &value, &error));
  EXPECT_EQ("The name of a parameter is no valid text", takeMessage(error));
  EXPECT_FALSE(ov_parameter_get(handle.get(), "A", nullptr, &error));
  EXPECT_EQ("A handle and a place are needed", takeMessage(error));
  EXPECT_FALSE(ov_parameter_get(nullptr, "A", &value, &error));
  EXPECT_EQ("A handle and a place are needed", takeMessage(error));
  EXPECT_EQ("1", get(handle.get(), "A"));
}

TEST_F(ParameterTest, AServiceThatHasGoneIsAnErrorAndOneThatReturnsIsFound) {
  auto service = std::make_unique<ParameterService>(Values{{"A", "1"}});
  const ParameterPtr handle(ov_parameter_new("App", nullptr));
  EXPECT_EQ("1", get(handle.get(), "A"));
  service.reset();
  char* value = nullptr;
  EXPECT_FALSE(ov_parameter_get(handle.get(), "A", &value, nullptr));
  service = std::make_unique<ParameterService>(Values{{"A", "2"}});
  EXPECT_EQ("2", get(handle.get(), "A"));
}

TEST_F(ParameterTest, ASilentServiceIsGivenUp) {
  const ParameterService service(Values{});
  const ParameterPtr handle(ov_parameter_new("App", nullptr));
  char* value = nullptr;
  GError* error = nullptr;
  EXPECT_FALSE(ov_parameter_get(handle.get(), "silent", &value, &error));
  EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT));
  takeMessage(error);
}

TEST_F(ParameterTest, FreeingNothingIsAllowed) {
  ov_parameter_free(nullptr);
}

}  // namespace
