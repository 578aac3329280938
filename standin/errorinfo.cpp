// The last error of each thread. A thread's record is made at its first error information and goes with the thread; the
// texts are copied into buffers that are kept, so that the frequent success costs two words and a short copy.
#include <new>
#include <string>

#include "standin.h"

namespace standin {

namespace {

// A text that may be null, in a buffer that outlives it. One for which there is no memory is left out.
struct kept_text {
  std::string buffer;
  bool present = false;

  void set(const char* text) noexcept {
    present = false;
    if (text) present = guarded([&]() -> pask_status { return buffer.assign(text), 0; }) == 0;
  }
  const char* get() const { return present ? buffer.c_str() : nullptr; }
};

struct error_record {
  pask_status word = 0;
  pask_status source = 0;
  kept_text operation;
  kept_text message;
  bool from_provider = false;
};

// Plain words, so that error information can still be set while a thread is ending, when its record has gone.
constinit thread_local error_record* t_error = nullptr;
constinit thread_local bool t_ended = false;

struct at_thread_end {
  ~at_thread_end() {
    delete t_error;
    t_error = nullptr;
    t_ended = true;
  }
};

[[gnu::cold]] error_record* first_record() {
  if (t_ended) return nullptr;
  thread_local at_thread_end reaper;
  (void)reaper;
  return t_error = new (std::nothrow) error_record;
}

pask_status record_error(pask_status word, pask_status source, const char* operation, const char* message,
                         bool from_provider) {
  error_record* error = t_error ? t_error : first_record();
  if (!error) return VELOX_STANDIN_ERR_NO_MEMORY;
  // The service tells of a failed lookup without a message: the provider's stays with the word that caused it.
  const bool explained = error->from_provider && !message && source != 0 && source == error->source;
  error->word = word;
  error->source = source;
  error->from_provider = from_provider || explained;
  error->operation.set(operation);
  if (!explained) error->message.set(message);
  return 0;
}

pask_status errorinfo_set(pask_status word, pask_status source, const char* operation, const char* message) {
  return record_error(word, source, operation, message, false);
}

}  // namespace

const velox_errorinfo_interface g_errorinfo_table = {interface_release, errorinfo_set};

}  // namespace standin

using namespace standin;

pask_status manager_errorinfo_set(pask_status word, pask_status source, const char* operation, const char* message) {
  return errorinfo_set(word, source, operation, message);
}

void velox_standin_error_set(pask_status word, const char* operation, const char* message) {
  record_error(word, word, operation, message, true);
}

void velox_standin_last_error(velox_standin_error* error) {
  if (!error) return;
  *error = {};
  if (t_error) *error = {t_error->word, t_error->source, t_error->operation.get(), t_error->message.get()};
}
