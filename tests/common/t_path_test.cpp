#include "ormo/t_path.h"

#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

TEST(TPathTest, AppendsWithOneSeparator) {
  const char* const cases[][3] = {
      {"a/", "/b", "a/b"}, {"a", "b", "a/b"}, {"a", "", "a/"},
      {"a/", "", "a/"},    {"a", "//", "a/"}, {"a", "//b/", "a/b/"},
      {"", "/b", "b"},     {"/", "b", "/b"},  {"", "", ""},
  };
  for (const auto& [start, part, whole] : cases) {
    const TPath path(start);
    EXPECT_EQ((path + part).GetString(), whole);
    EXPECT_EQ((path + TPath(part)).GetString(), whole);
    EXPECT_EQ(path.GetString(), start);
  }
  EXPECT_EQ(TPath("a").Append(static_cast<const char*>(nullptr)).GetString(), "a");
}

TEST(TPathTest, TakesNamesApart) {
  const char* const cases[][5] = {
      {"/a/b/", "/a", "", "", ""},
      {"/a/b", "/a", "b", "", "b"},
      {"/a", "", "a", "", "a"},
      {"/", "", "", "", ""},
      {"/x.d/y.tar.gz", "/x.d", "y.tar.gz", "gz", "y.tar"},
      {"/x.d/y", "/x.d", "y", "", "y"},
      {"/x/.profile", "/x", ".profile", "profile", ""},
      {"/x/y.", "/x", "y.", "", "y"},
  };
  for (const auto& [path, parent, name, suffix, pureName] : cases) {
    EXPECT_EQ(TPath(path).GetFileName(), name) << path;
    EXPECT_EQ(TPath(path).GetSuffix(), suffix) << path;
    EXPECT_EQ(TPath(path).GetPureName(), pureName) << path;
    EXPECT_EQ(TPath(path).GetParentDirectory().GetString(), parent) << path;
  }
}

TEST(TPathTest, ChangesSuffixesOfFileNamesOnly) {
  EXPECT_EQ(TPath("/x/y.tar.gz").ChangeSuffix(".txt").GetString(), "/x/y.tar.txt");
  EXPECT_EQ(TPath("/x.d/y").ChangeSuffix("txt").GetString(), "/x.d/y.txt");
  EXPECT_EQ(TPath("y.gz").DelSuffix().GetString(), "y");
  EXPECT_EQ(TPath("/x.d/").ChangeSuffix("txt").GetString(), "/x.d/");
  EXPECT_EQ(TPath("/x/y").AddSuffix(".json").GetString(), "/x/y.json");
  EXPECT_EQ(TPath("/x/y.json").AddSuffix("json").GetString(), "/x/y.json");
  EXPECT_EQ(TPath("").AddSuffix(".json").GetString(), "");
}

TEST(TPathTest, OnlyWhatStandsInADirectoryIsBelowIt) {
  EXPECT_TRUE(TPath("/a").IsSubPath(TPath("/a/b")));
  EXPECT_TRUE(TPath("/a/").IsSubPath(TPath("/a/b")));
  EXPECT_FALSE(TPath("/a").IsSubPath(TPath("/ab")));
  EXPECT_FALSE(TPath("/a").IsSubPath(TPath("/a")));
}

TEST(TPathTest, ListsADirectoryInOrderOfNames) {
  const TempDirectory directory;
  for (const char* name : {"m_2.json", "m_10.json", "a.txt", "m.txt"}) {
    WriteFile(directory / name, "");
  }
  const TPath path(directory.Path().string());
  std::vector<TPath> files;
  EXPECT_EQ(path.GetDirFileList(files, nullptr), 0);
  ASSERT_EQ(files.size(), 4U);
  EXPECT_EQ(files[2].GetString(), directory / "m_10.json");
  EXPECT_TRUE(path.IsListFileExist(files));
  EXPECT_FALSE(path.IsListFileExist({files.front(), path + "missing"}));
  EXPECT_FALSE(path.IsListFileExist({TPath("/etc/passwd")}));
  const auto filter = [](const dirent* e) { return std::strcmp(e->d_name, "m.txt") == 0 ? 1 : 0; };
  files.clear();
  EXPECT_EQ(path.GetDirFileList(files, filter), 0);
  EXPECT_EQ(files.size(), 1U);

  std::map<long, std::string> matches;
  EXPECT_EQ(path.GetDirFileListWithPrefixAndSuffix("m_", ".json", matches), 0);
  EXPECT_THAT(matches,
              ElementsAre(Pair(0, directory / "m_10.json"), Pair(1, directory / "m_2.json")));
  EXPECT_EQ((path + "missing").GetDirFileListWithPrefix(matches, "m"), -1);
  EXPECT_EQ(path.FuzzyLookupFileName("x", ""), "");
  EXPECT_EQ((path + "a").IntellAddSuffix(".txt").GetString(), directory / "a.txt");
  EXPECT_EQ((path + "m").IntellAddSuffix(".json").GetString(), directory / "m_10.json");
  EXPECT_EQ((path + "x").IntellAddSuffix(".json").GetString(), directory / "x.json");
  std::filesystem::current_path(directory.Path());
  EXPECT_EQ(TPath().IntellAddSuffix(".json").GetString(), "");
  EXPECT_EQ((path + "").IntellAddSuffix(".txt").GetString(), directory / ".txt");
}

TEST(TPathTest, CreatesResolvesAndRemovesDirectories) {
  const TempDirectory directory;
  std::filesystem::create_directory(directory / "a");
  TPath path(directory / "a/../b/c");
  ASSERT_TRUE(path.NormalizeDir()) << "the missing \"b\" is made on the way";
  EXPECT_EQ(path.GetString(), directory / "b/c/");
  EXPECT_TRUE(path.IsDir());
  EXPECT_TRUE(path.RealDirectory());
  EXPECT_EQ(path.GetString(), directory / "b/c");

  WriteFile(directory / "b/c/file", "");
  EXPECT_FALSE((path + "file").IsDir());
  EXPECT_FALSE(path.RemoveDir()) << "it holds a file";
  std::filesystem::remove(directory / "b/c/file");
  EXPECT_TRUE(path.RemoveDir());
  EXPECT_FALSE(path.IsExist(false));
  EXPECT_FALSE(path.RealPath());
  EXPECT_EQ(path.GetString(), directory / "b/c") << "left alone on failure";
}

}  // namespace
}  // namespace Ormo::Testing
