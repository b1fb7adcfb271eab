#include <cstdio>
#include <regex>
#include <string>
#include <tuple>
#include <utility>

#include "model/model_manager.h"
#include "model/model_test.h"
#include "support/graph_text.h"
#include "support/temp_directory.h"

namespace {

std::string commands;
// Of the device, once commands were run.
size_t memory = 0;

}  // namespace

// The page cache of the machine that runs the tests stays as it is.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
FILE* popen(const char* command, const char* /*mode*/) {
  commands += command;
  OrmoHost::SetMemorySize(memory);
  return memory == 0 ? nullptr : fopen("/dev/null", "re");
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
int pclose(FILE* stream) {
  return fclose(stream);
}

namespace Ormo::Testing {
namespace {

class ModelLoadingTest : public ModelTest {};

TEST_F(ModelLoadingTest, AFileGoesBeforeAnImageAndWithoutBothThereIsNothingToLoad) {
  const TempDirectory directory;
  ModelInfo info;
  EXPECT_EQ(ModelManager::LoadModel(info, "TarnLake1"), STATUS_FAILED);
  info.modelPath = directory / "model";
  info.modelData.data = &info;
  EXPECT_EQ(ModelManager::LoadModel(info, "TarnLake1"), STATUS_PLATFORM_FAILED) << "no file yet";
  WriteFile(info.modelPath, AddGraph(1, 1));
  EXPECT_EQ(ModelManager::LoadModel(info, "TarnLake1"), STATUS_SUCCESS);
  info_.modelId = info.modelId;
}

TEST_F(ModelLoadingTest, EachRunModeTakesItsPathByTheSizeOfTheWeights) {
  const RunMode own = RunMode::PREVIOUS_MEMORY;
  const std::string query = "QuerySizeFromMem @, ";
  const std::string load = "LoadFromMem @ # *, Unload # *, ";
  const std::string into = "Malloc 0 0, Malloc % 1, LoadFromMemWithMem @ 0 % # *, Unload # *, ";
  const std::tuple<RunMode, size_t, std::string> cases[] = {
      {own, 4032, query + load},
      {own, 4096, query + into + "Free, Free, "},
      {own, 1048576, query + into + "Free, Free, "},
      {own, 1048640, query + load},
      {RunMode::NO_MEMORY_CHECK, 4096, load},
      {RunMode::DEFAULT, 4096, query + "GetMemInfo 1, " + load},
      {static_cast<RunMode>(7), 4096, query + "GetMemInfo 1, " + load},
  };
  const auto replace = [](const std::string& text, const char* what, size_t number) {
    return std::regex_replace(text, std::regex(what), std::to_string(number));
  };
  for (const auto& [mode, weightSize, calls] : cases) {
    const std::string graph = AddGraph(weightSize / sizeof(float), 1);
    OrmoHost::RecordCalls();
    EXPECT_EQ(Load(graph, mode), STATUS_SUCCESS);
    const uint32_t id = info_.modelId;
    Unload();
    EXPECT_EQ(Calls(),
              replace(replace(replace(calls, "@", graph.size()), "%", weightSize), "\\*", id));
  }
}

TEST_F(ModelLoadingTest, AllocationsFallBackFromHugePagesInTheirRange) {
  OrmoHost::SetHugePageSize(0);
  OrmoHost::RecordCalls();
  for (const size_t size : {size_t{4095}, size_t{4096}, size_t{1048576}, size_t{1048577}}) {
    void* block = nullptr;
    EXPECT_EQ(ModelManager::RtMalloc(&block, size), STATUS_SUCCESS);
    ModelManager::RtMemFree(block);
    ModelManager::RtMemFree(nullptr);
  }
  EXPECT_EQ(Calls(),
            "Malloc 4095 0, Free, Malloc 4096 1, Malloc 4096 0, Free, "
            "Malloc 1048576 1, Malloc 1048576 0, Free, Malloc 1048577 0, Free, ");
  OrmoHost::Fail("zelrtMalloc", 1, 207001);
  void* block = nullptr;
  EXPECT_EQ(ModelManager::RtMalloc(&block, 1), STATUS_MEMORY_ALLOCATION_FAILED);
  for (const auto& [nth, what] : {std::pair(1U, "work"), {3U, "weight"}}) {
    const LogCapture log(DLOG_ERROR);
    OrmoHost::Fail("zelrtMalloc", nth, 5);
    EXPECT_EQ(Load(AddGraph(1024, 1), RunMode::PREVIOUS_MEMORY), STATUS_SUCCESS);
    EXPECT_THAT(log.Messages().at(1),
                StartsWith(std::string("LoadModel from memory failed because malloc ") + what));
    Unload();
    EXPECT_EQ(OrmoHost::Alive().deviceBytes, 0U);
  }
}

TEST_F(ModelLoadingTest, ARequestOfExactlyTheAvailableMemoryFitsAndOneByteMoreDoesNot) {
  const std::tuple<const char*, size_t, bool, size_t> cases[] = {
      {"TarnLake1", 199, true, 198},
      {"TarnLake1", 200, true, 198},
      {"TarnLake1", 200, false, 200},
      {"TarnRiverX", 5000, true, 4950},
      {"TarnStream1", 5 * GIB, true, 4 * GIB},
      {"TarnStream1", 5 * GIB, false, 5 * GIB},
      {"TarnPond1", GIB, true, 0},
  };
  for (const auto& [chip, total, checkReserved, largest] : cases) {
    BecomeChip(chip);
    OrmoHost::SetMemorySize(total);
    const LogCapture log(DLOG_WARN);
    EXPECT_EQ(ModelManager::CheckAllocMemSize(largest, chip, checkReserved), STATUS_SUCCESS);
    EXPECT_EQ(ModelManager::CheckAllocMemSize(largest + 1, chip, checkReserved),
              STATUS_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Messages(log, DLOG_WARN),
              "Check alloc memory failed, reserved memory: " + std::to_string(total - largest) +
                  " byte(s), free memory: " + std::to_string(total) +
                  " byte(s), alloc memory: " + std::to_string(largest + 1) + " byte(s)|");
  }
  // A reserve beyond the free memory leaves room for nothing.
  OrmoHost::SetMemorySize(GIB - 1);
  EXPECT_EQ(ModelManager::CheckAllocMemSize(0, "TarnPond1", true), STATUS_NOT_ENOUGH_MEMORY);
  OrmoHost::RecordCalls();
  for (const char* chip : {"", "TarnLake", "TarnLake5", "TarnRive", "TarnCreek1", "TarnFen"}) {
    EXPECT_EQ(ModelManager::CheckAllocMemSize(~size_t{0}, chip, true), STATUS_SUCCESS);
  }
  EXPECT_EQ(Calls(), "") << "other chips are not checked";
}

TEST_F(ModelLoadingTest, TheCacheIsCleanedOnceAndOnlyWhereItHelps) {
  const std::tuple<const char*, size_t, int, const char*> cases[] = {
      {"TarnStream1", GIB + 8192, STATUS_SUCCESS, "echo 3 > /proc/sys/vm/drop_caches"},
      {"TarnPond1", GIB, STATUS_NOT_ENOUGH_MEMORY, "echo 3 > /proc/sys/vm/drop_caches"},
      {"TarnPond1", 0, STATUS_NOT_ENOUGH_MEMORY, "echo 3 > /proc/sys/vm/drop_caches"},
      {"TarnSpring1", GIB + 8192, STATUS_NOT_ENOUGH_MEMORY, ""},
  };
  for (const auto& [chip, withoutCache, status, expected] : cases) {
    BecomeChip(chip);
    OrmoHost::SetMemorySize(GIB);
    memory = withoutCache;
    commands.clear();
    const LogCapture log(DLOG_ERROR);
    EXPECT_EQ(Load(AddGraph(1024, 1)), status) << chip;
    EXPECT_EQ(commands, expected) << chip;
    EXPECT_THAT(log.Messages(), IsEmpty()) << "too little memory is no error";
    Unload();
  }
  OrmoHost::RecordCalls();
  EXPECT_EQ(Load(AddGraph(size_t{1} << 60, 1, 4)), STATUS_NOT_ENOUGH_MEMORY) << "sizes wrap around";
  EXPECT_THAT(Calls(), Not(HasSubstr("GetMemInfo")));
}

}  // namespace
}  // namespace Ormo::Testing
