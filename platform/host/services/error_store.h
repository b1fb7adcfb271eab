/// \file
/// What the error manager keeps: messages by work stream, a context for each thread.
#ifndef ORMO_HOST_SERVICES_ERROR_STORE_H
#define ORMO_HOST_SERVICES_ERROR_STORE_H

#include <pthread.h>

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "error_manager/error_manager.h"

namespace OrmoHost {

class ErrorStore {
 public:
  enum class Kind { ERROR, WARNING };

  ErrorStore();

  /// Keeps a message for the calling thread's work stream.
  void Add(Kind kind, std::string text);
  /// Takes the messages of the calling thread's work stream, a line each.
  std::string Take(Kind kind);

  /// The calling thread's context, made on first use.
  error_message::Context& ThreadContext();
  uint64_t NextStreamId();

  /// Forgets the messages.
  void Clear();
  /// Gives up the threads' contexts as well; from then on all threads share one.
  void Close();

 private:
  struct Message {
    uint64_t stream;
    Kind kind;
    std::string text;
  };

  /// Messages that nobody takes must not fill the memory of a tuner that runs for days.
  static constexpr size_t MAX_MESSAGES = 1024;

  static void OnThreadExit(void* context);

  std::mutex mutex_;
  std::vector<Message> messages_;
  uint64_t lastStream_ = 0;
  pthread_key_t contextKey_{};
  bool hasKey_ = false;
  std::set<error_message::Context*> contexts_;
  error_message::Context sharedContext_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_SERVICES_ERROR_STORE_H
