/// \file
/// What every test needs: Googletest, the matchers by their names, texts and containers.
#ifndef ORMO_TESTS_SUPPORT_MATCHERS_H
#define ORMO_TESTS_SUPPORT_MATCHERS_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Ormo::Testing {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Field;
using ::testing::FloatNear;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsNull;
using ::testing::Key;
using ::testing::MatchesRegex;
using ::testing::NotNull;
using ::testing::Pair;
using ::testing::Pointwise;
using ::testing::PrintToString;
using ::testing::SizeIs;
using ::testing::StartsWith;

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_MATCHERS_H
