#include "services/parameter_service.h"

#include <gtest/gtest.h>

#include "private_bus.h"

namespace device {
namespace {

std::map<std::string, std::string> values() {
  return {{"root.Brand.ProdNbr", "Q1"}, {"root.Brand.Name", "N"}, {"root.Image.I0.Size", "1x1"}};
}

TEST(ParameterStoreTest, NameIsTheSameWithAndWithoutRoot) {
  const ParameterStore store(values());
  EXPECT_EQ("Q1", store.get("root.Brand.ProdNbr"));
  EXPECT_EQ("Q1", store.get("Brand.ProdNbr"));
  EXPECT_EQ(std::nullopt, store.get("Brand.Prod"));
  EXPECT_EQ(std::nullopt, store.get(""));
}

TEST(ParameterStoreTest, OnlyParametersThatExistAreSet) {
  ParameterStore store(values());
  EXPECT_TRUE(store.set("Brand.ProdNbr", "Q2"));
  EXPECT_EQ("Q2", store.get("root.Brand.ProdNbr"));
  EXPECT_FALSE(store.set("Brand.New", "x"));
  EXPECT_EQ(std::nullopt, store.get("Brand.New"));
}

TEST(ParameterStoreTest, ListGivesFullNamesBehindAPrefix) {
  const ParameterStore store(values());
  const std::map<std::string, std::string> brand = {{"root.Brand.Name", "N"},
                                                    {"root.Brand.ProdNbr", "Q1"}};
  EXPECT_EQ(brand, store.list("root.Brand."));
  EXPECT_EQ(brand, store.list("Brand"));
  EXPECT_EQ(values(), store.list(""));
  EXPECT_EQ(values(), store.list("root."));
  EXPECT_TRUE(store.list("root.Z").empty());
}

class ParameterServiceTest : public testing::Test {
 protected:
  std::string get(const char* name) {
    const Reply reply = client.call("Get", g_variant_new("(s)", name));
    if (!reply.ok()) {
      return reply.error;
    }
    const char* value = nullptr;
    g_variant_get(reply.value.get(), "(&s)", &value);
    return value;
  }

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  ParameterStore store{values()};
  ParameterService service{connection.get(), store};
  BusClient client{"com.orva.ParameterService", "/com/orva/ParameterService"};
};

TEST_F(ParameterServiceTest, GetsByEitherName) {
  EXPECT_EQ("Q1", get("root.Brand.ProdNbr"));
  EXPECT_EQ("Q1", get("Brand.ProdNbr"));
  EXPECT_EQ(INVALID_ARGS, get("root.None"));
}

TEST_F(ParameterServiceTest, SetsWhatExists) {
  EXPECT_TRUE(client.call("Set", g_variant_new("(ss)", "Brand.ProdNbr", "Q2")).ok());
  EXPECT_EQ("Q2", get("root.Brand.ProdNbr"));
  EXPECT_EQ(INVALID_ARGS, client.call("Set", g_variant_new("(ss)", "None", "x")).error);
}

TEST_F(ParameterServiceTest, ListsAPrefix) {
  const Reply reply = client.call("List", g_variant_new("(s)", "root.Brand."));
  ASSERT_TRUE(reply.ok());
  const GVariantPtr expected(g_variant_ref_sink(
      g_variant_new_parsed("({'root.Brand.Name': 'N', 'root.Brand.ProdNbr': 'Q1'},)")));
  EXPECT_TRUE(g_variant_equal(expected.get(), reply.value.get()));
}

}  // namespace
}  // namespace device
