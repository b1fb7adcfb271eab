#include "error_manager/error_manager.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "seam/host_call.h"
#include "seam/single.h"
#include "services/error_store.h"

namespace OrmoHost {

ErrorStore::ErrorStore() {
  // A thread_local object with a destructor would keep this library loaded; a key can be given up.
  hasKey_ = pthread_key_create(&contextKey_, OnThreadExit) == 0;
}

void ErrorStore::Add(Kind kind, std::string text) {
  uint64_t stream = ThreadContext().workStreamId;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (messages_.size() == MAX_MESSAGES) {
    messages_.erase(messages_.begin());
  }
  messages_.push_back({stream, kind, std::move(text)});
}

std::string ErrorStore::Take(Kind kind) {
  uint64_t stream = ThreadContext().workStreamId;
  const std::lock_guard<std::mutex> lock(mutex_);
  auto taken = std::stable_partition(
      messages_.begin(), messages_.end(),
      [&](const Message& message) { return message.stream != stream || message.kind != kind; });
  std::string text;
  for (auto message = taken; message != messages_.end(); ++message) {
    text += (text.empty() ? "" : "\n") + message->text;
  }
  messages_.erase(taken, messages_.end());
  return text;
}

error_message::Context& ErrorStore::ThreadContext() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!hasKey_) {
    return sharedContext_;
  }
  auto* context = static_cast<error_message::Context*>(pthread_getspecific(contextKey_));
  if (context == nullptr) {
    auto made = std::make_unique<error_message::Context>();
    contexts_.insert(made.get());
    context = made.release();
    pthread_setspecific(contextKey_, context);
  }
  return *context;
}

void ErrorStore::OnThreadExit(void* context) {
  auto& store = Single<ErrorStore>();
  const std::lock_guard<std::mutex> lock(store.mutex_);
  // The host may have closed, and deleted it, in the meantime.
  if (store.contexts_.erase(static_cast<error_message::Context*>(context)) != 0) {
    delete static_cast<error_message::Context*>(context);
  }
}

uint64_t ErrorStore::NextStreamId() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return ++lastStream_;
}

void ErrorStore::Clear() {
  const std::lock_guard<std::mutex> lock(mutex_);
  Forget(messages_);
}

void ErrorStore::Close() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (hasKey_) {
    pthread_key_delete(contextKey_);
    hasKey_ = false;
  }
  for (error_message::Context* context : contexts_) {
    delete context;
  }
  Forget(contexts_);
}

namespace {

// The host's messages carry their own text, so a catalogue need only be there.
int LoadCatalogue(const std::string& path) {
  return access(path.c_str(), R_OK) == 0 ? 0 : -1;
}

// "CODE: text", or "CODE: key: text, key: text" when there is more than the one key "reason".
std::string MessageText(const std::string& code, const std::map<std::string, std::string>& args) {
  std::string text = code + ":";
  const char* separator = " ";
  for (const auto& [key, value] : args) {
    text += separator;
    if (args.size() > 1 || key != "reason") {
      text.append(key).append(": ");
    }
    text += value;
    separator = ", ";
  }
  return text;
}

ErrorStore::Kind KindOf(const std::string& code) {
  return !code.empty() && code.front() == 'W' ? ErrorStore::Kind::WARNING : ErrorStore::Kind::ERROR;
}

int Output(int handle, const std::string& text) {
  std::string line = text.empty() ? text : text + "\n";
  ssize_t written = write(handle, line.data(), line.size());
  return written == static_cast<ssize_t>(line.size()) ? 0 : -1;
}

}  // namespace

}  // namespace OrmoHost

using OrmoHost::Attempt;
using OrmoHost::ErrorStore;
using OrmoHost::Failing;
using OrmoHost::HostCall;
using OrmoHost::Single;

ErrorManager& ErrorManager::GetInstance() {
  static ErrorManager instance;
  return instance;
}

int ErrorManager::Init(std::string path) {
  return Attempt("ErrorManager::Init", [&] { return OrmoHost::LoadCatalogue(path); });
}

int ErrorManager::Init() {
  return Attempt("ErrorManager::Init", [] {});
}

int ErrorManager::ReportErrMessage(std::string errorCode,
                                   const std::map<std::string, std::string>& args) {
  return Attempt("ErrorManager::ReportErrMessage", [&] {
    Single<ErrorStore>().Add(OrmoHost::KindOf(errorCode), OrmoHost::MessageText(errorCode, args));
  });
}

int ErrorManager::ReportInterErrMessage(std::string errorCode, const std::string& message) {
  return Attempt("ErrorManager::ReportInterErrMessage", [&] {
    Single<ErrorStore>().Add(OrmoHost::KindOf(errorCode), errorCode + ": " + message);
  });
}

std::string ErrorManager::GetErrorMessage() {
  return Attempt("ErrorManager::GetErrorMessage",
                 [] { return Single<ErrorStore>().Take(ErrorStore::Kind::ERROR); });
}

std::string ErrorManager::GetWarningMessage() {
  return Attempt("ErrorManager::GetWarningMessage",
                 [] { return Single<ErrorStore>().Take(ErrorStore::Kind::WARNING); });
}

int ErrorManager::OutputErrMessage(int handle) {
  return Attempt("ErrorManager::OutputErrMessage", [&] {
    return OrmoHost::Output(handle, Single<ErrorStore>().Take(ErrorStore::Kind::ERROR));
  });
}

int ErrorManager::OutputMessage(int handle) {
  return Attempt("ErrorManager::OutputMessage", [&] {
    int errors = OrmoHost::Output(handle, Single<ErrorStore>().Take(ErrorStore::Kind::ERROR));
    int warnings = OrmoHost::Output(handle, Single<ErrorStore>().Take(ErrorStore::Kind::WARNING));
    return errors != 0 ? errors : warnings;
  });
}

error_message::Context& ErrorManager::GetErrorManagerContext() {
  HostCall call("ErrorManager::GetErrorManagerContext", Failing::CANNOT);
  call.Fails();
  return Single<ErrorStore>().ThreadContext();
}

void ErrorManager::SetErrorContext(error_message::Context context) {
  HostCall call("ErrorManager::SetErrorContext", Failing::CANNOT);
  call.Fails();
  Single<ErrorStore>().ThreadContext() = std::move(context);
}

uint64_t ErrorManager::GenWorkStreamIdDefault() {
  HostCall call("ErrorManager::GenWorkStreamIdDefault", Failing::CANNOT);
  call.Fails();
  uint64_t id = Single<ErrorStore>().NextStreamId();
  Single<ErrorStore>().ThreadContext().workStreamId = id;
  return id;
}
