// The page that explains the keys of models, against the keys that the reader knows.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "base/text.h"
#include "model/model_keys.h"
#include "support/source_folder.h"
#include "world/scenes.h"

namespace device {
namespace {

// The cells of a table's row, without blanks around them.
std::vector<std::string> cellsOf(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream in(line.substr(1));
  std::string cell;
  while (std::getline(in, cell, '|')) {
    cells.emplace_back(text::trimmed(cell, " "));
  }
  return cells;
}

class ModelPageTest : public testing::Test {
 protected:
  ModelPageTest() {
    std::ifstream page(sourceFolder() / "docs" / "how-to" / "add-a-head-model.md");
    std::string line;
    while (std::getline(page, line)) {
      if (!line.starts_with("|")) {
        continue;
      }
      const std::vector<std::string> cells = cellsOf(line);
      if (cells.at(0).starts_with("`")) {
        keys.push_back(cells);
      } else if (cells.size() == 2) {
        scenes[cells[0]] = cells[1];
      }
    }
  }

  std::vector<std::vector<std::string>> keys;  // rows of keys
  std::map<std::string, std::string> scenes;
};

TEST_F(ModelPageTest, NamesEveryKeyOnceWithUnitDefaultAndBounds) {
  std::map<std::string, std::vector<std::string>> told;
  for (const std::vector<std::string>& row : keys) {
    ASSERT_EQ(row.size(), 5u) << row[0];
    EXPECT_TRUE(told.emplace(row[0], row).second) << row[0] << " is there twice";
  }
  for (const ModelKey& key : modelKeys()) {
    const std::string name = "`" + std::string(key.name) + "`";
    ASSERT_TRUE(told.contains(name)) << name << " is not on the page";
    const std::vector<std::string>& row = told.at(name);
    EXPECT_EQ(row[1], key.unit) << name;
    EXPECT_EQ(row[2], key.standard ? *key.standard : "required") << name;
    EXPECT_EQ(row[3], boundsText(key)) << name;
  }
  EXPECT_EQ(told.size(), modelKeys().size()) << "there are keys on the page that no model has";
}

TEST_F(ModelPageTest, NamesEveryScene) {
  const ModelKey* key = findModelKey("scene");
  ASSERT_TRUE(key);
  for (const std::string& name : sceneNames()) {
    EXPECT_TRUE(scenes.contains(name)) << name;
    EXPECT_NE((" " + std::string(key->choices) + " ").find(" " + name + " "), std::string::npos);
  }
}

}  // namespace
}  // namespace device
