#include "ormo/options.h"

#include <gmock/gmock.h>

#include <tuple>

namespace Ormo {
namespace {

using Texts = std::map<std::string, std::string>;

TEST(Options, MappingKeepsListedOptionsWithAValueAndOfTwoForOneKeyTheLater) {
  const std::tuple<Texts, Texts, Texts> cases[] = {
      {{}, {{"a", "ox.x"}}, {}},
      {{{"a", "1"}}, {}, {}},
      {{{"a", "1"}, {"b", ""}, {"c", "3"}}, {{"a", "ox.x"}, {"b", "ox.y"}}, {{"ox.x", "1"}}},
      {{{"a", "1"}, {"b", "2"}}, {{"a", "k"}, {"b", "k"}}, {{"k", "2"}}},
      {{{"a", "1"}, {"b", ""}}, {{"a", "k"}, {"b", "k"}}, {{"k", "1"}}},
  };
  for (const auto& [options, nameMap, mapped] : cases) {
    EXPECT_EQ(Options::Mappping(options, nameMap), mapped);
  }
}

TEST(Options, ConversionsGoBothWaysUpToTheFirstZeroByte) {
  const std::string zeroByte("\0", 1);
  const Texts options = {{"", "empty"},
                         {"key", "value"},
                         {"key" + zeroByte + "a", "of a key that is there already"},
                         {"other", "cut" + zeroByte + "off"}};
  const std::map<ox::TarnString, ox::TarnString> engineOptions = Options::Convert(options);
  EXPECT_STREQ(engineOptions.at("key").GetString(), "value");
  EXPECT_EQ(Options::Convert(engineOptions),
            (Texts{{"", "empty"}, {"key", "value"}, {"other", "cut"}}));
  EXPECT_TRUE(Options::Convert(Texts()).empty());
}

}  // namespace
}  // namespace Ormo
