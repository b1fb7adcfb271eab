#include "simulator/dux_parser.h"

#include <charconv>
#include <utility>

#include "simulator/dux_costs.h"

namespace OrmoHost {
namespace {

constexpr char BLANKS[] = " \t\r";

// The words of a line, without its comment.
std::vector<std::string_view> SplitWords(std::string_view line) {
  line = line.substr(0, line.find('#'));
  std::vector<std::string_view> words;
  size_t begin = line.find_first_not_of(BLANKS);
  while (begin != std::string_view::npos) {
    const size_t end = line.find_first_of(BLANKS, begin);
    words.push_back(line.substr(begin, end - begin));
    begin = line.find_first_not_of(BLANKS, end);
  }
  return words;
}

}  // namespace

void DuxParser::Refuse(const std::string& expected) const {
  throw DuxError("line " + std::to_string(line_) + ": expected " + expected);
}

void DuxParser::Require(bool condition, const char* expected) const {
  if (!condition) {
    Refuse(expected);
  }
}

KernelTicks DuxParser::Parse(std::string_view text) {
  do {
    ++line_;
    const size_t end = text.find('\n');
    const Words words = SplitWords(text.substr(0, end));
    if (!words.empty()) {
      ReadStatement(words);
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  } while (!text.empty());
  Require(hasHeader_, "\"dux 1\"");
  Require(blocks_.empty(), "\"end\" for each loop and kernel");
  return std::move(kernels_);
}

void DuxParser::ReadStatement(const Words& words) {
  if (!hasHeader_) {
    Require(words == Words{"dux", "1"}, "\"dux 1\"");
    hasHeader_ = true;
  } else if (blocks_.empty()) {
    OpenKernel(words);
  } else if (words[0] == "loop") {
    OpenLoop(words);
  } else if (words[0] == "end") {
    Require(words.size() == 1, "nothing behind \"end\"");
    CloseBlock();
  } else {
    AddInstruction(words);
  }
}

uint64_t DuxParser::ReadCount(const Words& words) const {
  constexpr char EXPECTED[] = "one count from 1 to 18446744073709551615";
  Require(words.size() == 2, EXPECTED);
  const char* end = words[1].data() + words[1].size();
  uint64_t count = 0;
  const auto [rest, error] = std::from_chars(words[1].data(), end, count);
  Require(error == std::errc() && rest == end && count > 0, EXPECTED);
  return count;
}

void DuxParser::OpenKernel(const Words& words) {
  Require(words[0] == "kernel" && words.size() == 2, "\"kernel\" and a name");
  kernel_ = words[1];
  Require(kernels_.count(kernel_) == 0, "a name that no other kernel has");
  blocks_.push_back({1, KERNEL_START_TICKS});
}

void DuxParser::OpenLoop(const Words& words) {
  const uint64_t passes = ReadCount(words);
  if (blocks_.size() > MAX_LOOP_DEPTH) {
    Refuse("at most " + std::to_string(MAX_LOOP_DEPTH) + " loops inside each other");
  }
  blocks_.push_back({passes, LOOP_PASS_TICKS});
}

void DuxParser::AddInstruction(const Words& words) {
  const InstructionCost* instruction = FindInstruction(words[0]);
  if (instruction == nullptr) {
    Refuse("one of loop, end, " + KnownInstructions());
  }
  const uint64_t work = MultiplyTicks(ReadCount(words), instruction->perUnit);
  uint64_t& ticks = blocks_.back().ticks;
  ticks = AddTicks(ticks, AddTicks(instruction->start, work));
}

void DuxParser::CloseBlock() {
  const Block block = blocks_.back();
  const uint64_t ticks = MultiplyTicks(block.passes, block.ticks);
  blocks_.pop_back();
  if (blocks_.empty()) {
    kernels_.emplace(std::move(kernel_), ticks);
  } else {
    blocks_.back().ticks = AddTicks(blocks_.back().ticks, ticks);
  }
}

}  // namespace OrmoHost
