#include "common/trace_events.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

namespace Ormo {

namespace {

constexpr size_t BLOCK_SIZE = 65536;

// What stands in front of an event's three texts.
struct PackedHead {
  uint64_t ts;
  uint32_t nameSize;
  uint32_t pidSize;
  uint32_t tidSize;
  char ph;

  size_t TotalSize() const {
    return sizeof(PackedHead) + size_t{nameSize} + size_t{pidSize} + size_t{tidSize};
  }
};

// The size as a head holds it.
uint32_t PackedSize(std::string_view text) {
  if (text.size() > std::numeric_limits<uint32_t>::max()) {
    throw std::length_error("a text of an event is beyond 4 GiB");
  }
  return static_cast<uint32_t>(text.size());
}

char* PutText(char* at, std::string_view text) {
  return std::copy(text.begin(), text.end(), at);
}

PackedHead ReadHead(const char* at) {
  PackedHead head;  // NOLINT(cppcoreguidelines-pro-type-member-init): read whole
  std::memcpy(&head, at, sizeof(head));
  return head;
}

}  // namespace

TraceEvents::TraceEvents(TraceEvents&& other) noexcept {
  *this = std::move(other);
}

TraceEvents& TraceEvents::operator=(TraceEvents&& other) noexcept {
  blocks_.swap(other.blocks_);
  std::swap(count_, other.count_);
  return *this;
}

void TraceEvents::Add(const TraceEvent& event) {
  const PackedHead head{event.ts, PackedSize(event.name), PackedSize(event.pid),
                        PackedSize(event.tid), event.ph};
  Block& block = BlockWithRoom(head.TotalSize());
  char* at = block.bytes.get() + block.end;
  std::memcpy(at, &head, sizeof(head));
  at = PutText(at + sizeof(head), event.name);
  at = PutText(at, event.pid);
  PutText(at, event.tid);
  block.end += head.TotalSize();
  ++block.count;
  ++count_;
}

TraceEvents::Block& TraceEvents::BlockWithRoom(size_t size) {
  if (blocks_.empty() || blocks_.back().capacity - blocks_.back().end < size) {
    Block block;
    block.capacity = std::max(size, BLOCK_SIZE);
    block.bytes.reset(new char[block.capacity]);
    blocks_.push_back(std::move(block));
  }
  return blocks_.back();
}

bool TraceEvents::KeepNewest(size_t limit) noexcept {
  const bool tooMany = count_ > limit;
  while (count_ > limit) {
    if (count_ - blocks_.front().count >= limit) {
      TakeBlock();
    } else {
      DropOldest();
    }
  }
  return tooMany;
}

void TraceEvents::DropOldest() noexcept {
  Block& block = blocks_.front();
  block.begin += ReadHead(block.bytes.get() + block.begin).TotalSize();
  --block.count;
  --count_;
}

TraceEvents TraceEvents::TakeBlock() noexcept {
  TraceEvents taken;
  taken.count_ = blocks_.front().count;
  count_ -= taken.count_;
  taken.blocks_.splice(taken.blocks_.begin(), blocks_, blocks_.begin());
  return taken;
}

void TraceEvents::PutBack(TraceEvents older) noexcept {
  blocks_.splice(blocks_.begin(), older.blocks_);
  count_ += older.count_;
}

TraceEvent TraceEvents::Unpack(const Block& block, size_t& at) {
  const PackedHead head = ReadHead(block.bytes.get() + at);
  const char* text = block.bytes.get() + at + sizeof(head);
  TraceEvent event;
  event.name = {text, head.nameSize};
  event.ph = head.ph;
  event.pid = {text + head.nameSize, head.pidSize};
  event.tid = {text + head.nameSize + head.pidSize, head.tidSize};
  event.ts = head.ts;
  at += head.TotalSize();
  return event;
}

}  // namespace Ormo
