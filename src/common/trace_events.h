/// \file
/// Trace events between their recording and their writing.
#ifndef ORMO_COMMON_TRACE_EVENTS_H
#define ORMO_COMMON_TRACE_EVENTS_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string_view>

namespace Ormo {

/// One event; the texts are the owner's.
struct TraceEvent {
  std::string_view name;
  char ph = 'B';         ///< 'B' begins a span, 'E' ends it
  std::string_view pid;  ///< empty: the recorder's process
  std::string_view tid;
  uint64_t ts = 0;  ///< microseconds
};

/// A queue of events, packed one after another into blocks of bytes: adding one allocates nothing
/// most of the time, and whole blocks change hands in constant time.
class TraceEvents {
 public:
  TraceEvents() = default;
  /// Moving exchanges the contents.
  TraceEvents(TraceEvents&& other) noexcept;
  TraceEvents& operator=(TraceEvents&& other) noexcept;
  TraceEvents(const TraceEvents&) = delete;
  TraceEvents& operator=(const TraceEvents&) = delete;
  ~TraceEvents() = default;

  size_t Count() const { return count_; }

  /// Copies the event to the end. Changes nothing when memory runs out, or when a text is beyond
  /// 4 GiB (std::length_error).
  void Add(const TraceEvent& event);
  /// Drops the oldest events beyond `limit`; says whether there were any.
  bool KeepNewest(size_t limit) noexcept;

  /// Moves the oldest block of events out. There is one.
  TraceEvents TakeBlock() noexcept;
  /// Puts older events in front of these.
  void PutBack(TraceEvents older) noexcept;

  /// Calls `visit` with each event, the oldest first.
  template <typename Visitor>
  void ForEach(Visitor visit) const {
    for (const Block& block : blocks_) {
      for (size_t at = block.begin; at < block.end;) {
        visit(Unpack(block, at));
      }
    }
  }

 private:
  struct Block {
    std::unique_ptr<char[]> bytes;
    size_t capacity = 0;
    size_t begin = 0;  ///< where its oldest event starts
    size_t end = 0;    ///< where the next one goes
    size_t count = 0;
  };

  Block& BlockWithRoom(size_t size);
  /// Its block keeps others.
  void DropOldest() noexcept;
  /// The event at `at`, which moves on to the next one.
  static TraceEvent Unpack(const Block& block, size_t& at);

  std::list<Block> blocks_;
  size_t count_ = 0;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_TRACE_EVENTS_H
