#include "web_server/static_files.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/temporary_folder.h"

namespace device {
namespace {

class StaticFilesTest : public testing::Test {
 protected:
  StaticFilesTest() {
    std::filesystem::create_directories(root / "sub");
    std::filesystem::create_directories(folder / "rootbeside");
    for (const char* name : {"root/index.html", "root/sub/index.html", "root/a.css", "root/a.js",
                             "root/a.mjs", "root/a.svg", "root/a.png", "root/a.json", "root/a.sh",
                             "root/plain", "secret.json", "rootbeside/secret.json"}) {
      std::ofstream(folder / name) << name;
    }
  }

  std::string contents(std::string_view path) const {
    const auto file = files.read(path);
    return file ? file->contents : "nothing";
  }

  TemporaryFolder folder;
  std::filesystem::path root = folder / "root";
  StaticFiles files{root};
};

TEST_F(StaticFilesTest, TypesFollowTheExtension) {
  const std::pair<const char*, const char*> cases[] = {{"/index.html", "text/html; charset=utf-8"},
                                                       {"/a.css", "text/css; charset=utf-8"},
                                                       {"/a.js", "text/javascript; charset=utf-8"},
                                                       {"/a.mjs", "text/javascript; charset=utf-8"},
                                                       {"/a.svg", "image/svg+xml"},
                                                       {"/a.png", "image/png"},
                                                       {"/a.json", "application/json"}};
  for (const auto& [path, type] : cases) {
    const auto file = files.read(path);
    ASSERT_TRUE(file) << path;
    EXPECT_STREQ(type, file->type);
    EXPECT_EQ(std::string("root") + path, file->contents);
  }
}

TEST_F(StaticFilesTest, FolderStandsForItsIndex) {
  EXPECT_EQ("root/index.html", contents("/"));
  EXPECT_EQ("root/sub/index.html", contents("/sub/"));
  EXPECT_EQ("nothing", contents("/sub"));
}

TEST_F(StaticFilesTest, OtherKindsAndMissingFilesAreNotGivenOut) {
  for (const char* path : {"/a.sh", "/plain", "/none.html", "/sub/none/", "a.css", ""}) {
    EXPECT_EQ("nothing", contents(path)) << path;
  }
  EXPECT_EQ("nothing", contents(std::string_view("/a.css\0.html", 12)));
}

TEST_F(StaticFilesTest, NoWayLeadsOutOfTheFolder) {
  std::filesystem::create_symlink(folder / "secret.json", root / "link.json");
  std::filesystem::create_directory_symlink(folder / "rootbeside", root / "beside");
  const std::string absolute = folder / "secret.json";
  for (const std::string& path :
       {std::string("/../secret.json"), std::string("/sub/../../secret.json"),
        std::string("/../rootbeside/secret.json"), std::string("/link.json"),
        std::string("/beside/secret.json"), absolute, "/" + absolute}) {
    EXPECT_EQ("nothing", contents(path)) << path;
  }
}

TEST_F(StaticFilesTest, WaysAndLinksThatStayInsideAreFine) {
  std::filesystem::create_symlink(root / "a.json", root / "link.json");
  EXPECT_EQ("root/a.json", contents("/link.json"));
  EXPECT_EQ("root/a.css", contents("/sub/../a.css"));
}

TEST_F(StaticFilesTest, MissingFolderHasNoFiles) {
  EXPECT_FALSE(StaticFiles(folder / "none").read("/"));
}

}  // namespace
}  // namespace device
