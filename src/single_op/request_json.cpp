#include "single_op/request_json.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace Ormo {

using nlohmann::json;

// The value, and what the parser's events do to it. Every array and object that is open has a
// level; the room for levels is what taking the value apart needs later.
// NOLINTBEGIN(readability-identifier-naming): the JSON library calls these by name
class RequestJson::Tree {
 public:
  Tree() = default;  // NOLINT(bugprone-exception-escape): an empty value takes no memory
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  ~Tree() {  // NOLINT(bugprone-exception-escape): the room is there
    levels_.clear();
    TakeApart(root_);
  }

  const json& Root() const { return root_; }

  bool null() { return Add(nullptr); }

  bool boolean(bool value) { return Add(value); }

  bool number_integer(json::number_integer_t value) { return Add(value); }

  bool number_unsigned(json::number_unsigned_t value) { return Add(value); }

  bool number_float(json::number_float_t value, const std::string& /*text*/) { return Add(value); }

  bool string(std::string& value) { return Add(std::move(value)); }

  bool binary(json::binary_t& /*value*/) { return false; }

  bool start_object(std::size_t /*size*/) { return Open(json::value_t::object); }

  bool start_array(std::size_t /*size*/) { return Open(json::value_t::array); }

  bool end_object() { return Close(); }

  bool end_array() { return Close(); }

  bool key(std::string& name) {
    member_ = &(*levels_.back().container->get_ptr<json::object_t*>())[std::move(name)];
    TakeApart(*member_);  // a name given twice: the last one counts
    return true;
  }

  static bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                          const json::exception& /*error*/) {
    return false;
  }

 private:
  struct Level {
    json* container;
    json::iterator next;  // the element that is to be taken apart next
  };

  // Puts a value where the text has it, and returns its place there.
  template <typename Value>
  json* Place(Value&& value) {
    if (levels_.empty()) {
      root_ = json(std::forward<Value>(value));
      return &root_;
    }
    json& container = *levels_.back().container;
    if (container.is_array()) {
      return &container.get_ptr<json::array_t*>()->emplace_back(std::forward<Value>(value));
    }
    *member_ = json(std::forward<Value>(value));
    return member_;
  }

  template <typename Value>
  bool Add(Value&& value) {
    Place(std::forward<Value>(value));
    return true;
  }

  bool Open(json::value_t type) {
    json* container = Place(type);
    levels_.push_back({container, {}});
    return true;
  }

  bool Close() {
    levels_.pop_back();
    return true;
  }

  static bool HasElements(const json& value) { return value.is_structured() && !value.empty(); }

  // Empties a value from its innermost elements on, so that the JSON library finds nothing to do.
  void TakeApart(json& value) {
    const size_t outside = levels_.size();
    Descend(value);
    while (levels_.size() > outside) {
      Level& level = levels_.back();
      const json::iterator end = level.container->end();
      level.next = std::find_if(level.next, end, HasElements);
      if (level.next == end) {
        level.container->clear();
        levels_.pop_back();
      } else {
        Descend(*level.next++);
      }
    }
  }

  void Descend(json& value) {
    if (HasElements(value)) {
      levels_.push_back({&value, value.begin()});
    }
  }

  json root_;
  json* member_ = nullptr;  // of the innermost object, where its next value goes
  std::vector<Level> levels_;
};

// NOLINTEND(readability-identifier-naming)

RequestJson::RequestJson(const std::string& text)
    : tree_(std::make_unique<Tree>()),
      isValid_(json::accept(text) && json::sax_parse(text, tree_.get())) {}

RequestJson::~RequestJson() = default;

bool RequestJson::IsValid() const {
  return isValid_;
}

const json& RequestJson::Root() const {
  return tree_->Root();
}

namespace {

// An array or object that is being printed.
struct OpenText {
  const json* container;
  json::const_iterator next;
};

// Whether the JSON library may print it: it recurses.
bool IsFlat(const json& value) {
  return std::none_of(value.begin(), value.end(),
                      [](const json& element) { return element.is_structured(); });
}

// Prints a value, or opens it.
void Begin(const json& value, std::vector<OpenText>& open, std::string& text) {
  if (IsFlat(value)) {
    text += value.dump();
    return;
  }
  text += value.is_object() ? '{' : '[';
  open.push_back({&value, value.begin()});
}

}  // namespace

std::string CompactText(const json& value) {
  std::string text;
  std::vector<OpenText> open;
  Begin(value, open, text);
  while (!open.empty()) {
    OpenText& innermost = open.back();
    const bool isObject = innermost.container->is_object();
    if (innermost.next == innermost.container->end()) {
      text += isObject ? '}' : ']';
      open.pop_back();
      continue;
    }
    if (innermost.next != innermost.container->begin()) {
      text += ',';
    }
    if (isObject) {
      text += json(innermost.next.key()).dump() + ':';
    }
    const json& element = *innermost.next;
    ++innermost.next;
    Begin(element, open, text);
  }
  return text;
}

int64_t ToInt64(const json& value) {
  constexpr double beyond = 9223372036854775808.0;  // 2 to the 63
  if (value.is_number_float()) {
    const auto number = value.get<double>();
    if (number >= beyond) {
      return std::numeric_limits<int64_t>::max();
    }
    return number < -beyond ? std::numeric_limits<int64_t>::min() : static_cast<int64_t>(number);
  }
  if (value.is_number_unsigned()) {
    return static_cast<int64_t>(
        std::min<uint64_t>(value.get<uint64_t>(), std::numeric_limits<int64_t>::max()));
  }
  return value.get<int64_t>();
}

}  // namespace Ormo
