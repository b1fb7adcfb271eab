#include "ormo/t_path.h"

#include <cstring>

#include "common/scripted_system.h"
#include "ormo_host/control.h"
#include "support/expected_text.h"
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
  const char* const none = nullptr;
  TPath assigned(none);
  for (const auto& [start, part, whole] : cases) {
    const TPath path(start);
    EXPECT_EQ((path + part).GetString(), whole);
    EXPECT_EQ((path + std::string(part)).GetString(), whole);
    EXPECT_TRUE((path + TPath(part)).Equals(TPath(whole)));
    EXPECT_EQ(assigned.Equals(path), *start == '\0');
    assigned = std::string(start);
    EXPECT_TRUE(assigned.Equals(path));
    EXPECT_EQ(assigned.Empty(), *start == '\0');
    assigned = none;
  }
}

TEST(TPathTest, TakesNamesApartAndChangesThem) {
  std::string text;
  for (const char* path : {"", "/", "a", "/a", "/a/b/", "/a.b//", "/d.d/y.tar.gz", "/d.d/y",
                           "d/.profile", "y.", ".."}) {
    const std::string suffix = TPath(path).GetSuffix();
    const std::string changed = TPath(path).ChangeSuffix("txt").GetString();
    const std::string without = TPath(path).DelSuffix().GetString();
    EXPECT_EQ(TPath(path).ChangeSuffix(std::string(".txt")).GetString(), changed);
    EXPECT_EQ(TPath(path).ChangeSuffix(static_cast<const char*>(nullptr)).GetString(), without);
    EXPECT_EQ(TPath(path).AddSuffix(suffix).GetString(), path);
    text.append(path).append(":");
    for (const std::string& part : {TPath(path).GetParentDirectory().GetString(),
                                    TPath(path).GetFileName(), suffix, TPath(path).GetPureName(),
                                    changed, without, TPath(path).AddSuffix(".json").GetString()}) {
      text.append(" [").append(part).append("]");
    }
    text += "\n";
  }
  ExpectText(FILES, "names", text);
}

TEST(TPathTest, OnlyWhatStandsInADirectoryIsBelowIt) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"/a", "/a/b", true}, {"/a/", "/a/b", true}, {"/", "/a", true},  {"", "/a", true},
      {"/a", "/ab", false}, {"/a", "/a", false},   {"/a", "b", false}, {"a", "/a/b", false}};
  for (const auto& [directory, path, isBelow] : cases) {
    EXPECT_EQ(TPath(directory).IsSubPath(TPath(path)), isBelow) << directory << " " << path;
  }
}

TEST(TPathTest, AsksForTheRightThatItNames) {
  const TempDirectory directory;
  const TPath path(directory.Path().string());
  const std::pair<int, bool (*)(const TPath&)> cases[] = {
      {0, [](const TPath& p) { return p.IsExist(false); }},
      {6, [](const TPath& p) { return p.IsExist(true); }},
      {4, [](const TPath& p) { return p.IsReadable(); }},
      {2, [](const TPath& p) { return p.IsWriteable(); }},
      {7, [](const TPath& p) { return p.IsAccessDir(); }},
  };
  for (const auto& [mode, question] : cases) {
    accessModes.clear();
    EXPECT_TRUE(question(path)) << mode;
    EXPECT_FALSE(question(path + "missing")) << mode;
    EXPECT_THAT(accessModes, AllOf(SizeIs(2), Each(mode)));
  }
}

TEST(TPathTest, ListsADirectoryInOrderOfNamesAndFindsAFileByTheBeginningOfItsName) {
  const TempDirectory directory;
  for (const char* name : {"m_2.json", "m_10.json", "a.txt", "m.txt"}) {
    WriteFile(directory / name, "");
  }
  const TPath path(directory.Path().string());
  std::vector<TPath> files;
  OrmoHost::RecordCalls();
  EXPECT_EQ(path.GetDirFileList(files, nullptr), 0);
  EXPECT_EQ(OrmoHost::CallCount("mmScandirFree"), 1U);
  ASSERT_EQ(files.size(), 4U);
  EXPECT_EQ(files[2].GetString(), directory / "m_10.json");
  EXPECT_TRUE(path.IsListFileExist(files));
  EXPECT_FALSE(path.IsListFileExist({files.front(), path + "missing"}));
  const auto filter = [](const dirent* e) { return std::strcmp(e->d_name, "m.txt") == 0 ? 1 : 0; };
  files.clear();
  EXPECT_EQ(path.GetDirFileList(files, filter), 0);
  EXPECT_EQ(files.size(), 1U);

  std::map<long, std::string> matches = {{1, "old"}, {7, "kept"}};
  EXPECT_EQ(path.GetDirFileListWithPrefixAndSuffix("m_", ".json", matches), 0);
  EXPECT_THAT(matches, ElementsAre(Pair(0, directory / "m_10.json"),
                                   Pair(1, directory / "m_2.json"), Pair(7, "kept")));
  matches.clear();
  EXPECT_EQ((path + "missing").GetDirFileListWithPrefix(matches, "m"), -1);
  EXPECT_EQ(path.GetDirFileListWithPrefix(matches, "m.txt"), 0);
  EXPECT_EQ(path.GetDirFileListWithPrefixAndSuffix("a", "a.txt", matches), 0);
  EXPECT_THAT(matches, ElementsAre(Pair(0, directory / "a.txt")));

  EXPECT_EQ(path.FuzzyLookupFileName("m", ".json"), "m_10");
  EXPECT_EQ((path + "missing").FuzzyLookupFileName("", ""), "");
  std::filesystem::current_path(directory.Path());
  const std::pair<std::string, std::string> found[] = {{directory / "a", directory / "a.json"},
                                                       {directory / "m", directory / "m_10.json"},
                                                       {directory / "m_2", directory / "m_2.json"},
                                                       {"m", "m_10.json"},
                                                       {"", ""},
                                                       {directory / "", directory / ".json"}};
  for (const auto& [name, whole] : found) {
    EXPECT_EQ(TPath(name).IntellAddSuffix(".json").GetString(), whole);
  }
}

TEST(TPathTest, CreatesResolvesAndRemovesDirectories) {
  const TempDirectory directory;
  std::filesystem::create_directory(directory / "a");
  TPath path(directory / "a/../b/c");
  ASSERT_TRUE(path.NormalizeDir()) << "the missing \"b\" is made on the way";
  EXPECT_EQ(path.GetString(), directory / "b/c/");
  EXPECT_TRUE(path.RealDirectory());
  EXPECT_EQ(path.GetString(), directory / "b/c");

  WriteFile(directory / "b/c/file", "");
  TPath file = path + "../c/file";
  EXPECT_FALSE(file.RealDirectory());
  EXPECT_EQ(file.GetString(), directory / "b/c/../c/file") << "left alone";
  EXPECT_FALSE(path.RemoveDir()) << "it holds a file";
  std::filesystem::remove(directory / "b/c/file");
  EXPECT_TRUE(path.RemoveDir());
  EXPECT_FALSE(path.RealPath());
  EXPECT_EQ(path.GetString(), directory / "b/c") << "left alone on failure";
}

}  // namespace
}  // namespace Ormo::Testing
