// Critical section, read-write lock and event in every order of steps: the sources themselves, compiled against threads, mutexes and
// conditions that are a model's. A step ends before each atomic access and each call of a mutex or condition; who goes on, whom a
// signal wakes, whether a sleeper wakes unasked or is cancelled is decided in every way in turn. Two ways that come to the
// same state are followed once.
#undef NDEBUG
#include <errno.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/single_threaded.h>
#include <time.h>
#include <ucontext.h>
#include <velox/velox_manager.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace lock_model {

struct pthread_mutex_t {
  bool held;
};
struct pthread_cond_t {
  bool used;
};
struct pthread_mutexattr_t {};
struct pthread_condattr_t {};

constexpr bool __libc_single_threaded = false;

struct thread {
  enum { READY, ASLEEP, OVER } state;
  pthread_mutex_t* wants;  // before it goes on
  pthread_cond_t* on;      // in a wait for this, asleep or woken
  std::function<void()> work;
  std::function<void()> clean_up;  // when it is cancelled
  bool cancelled;
  bool has_mutex;
  uint64_t seen;  // all that its steps have told it, in one number
  ucontext_t context;
};

std::array<thread, 3> s_threads;
std::array<std::array<char, 128 * 1024>, 3> s_stacks;
thread* s_current;  // null outside of the threads
ucontext_t s_scheduler;
std::map<ptrdiff_t, size_t> s_open_words;  // in it, touched without its mutex: place and size
std::vector<char> s_record;                // where the object lies; empty while there is none

/* ---- Steps --------------------------------------------------------------------------------------------------------- */

void end_step() {
  if (s_current) swapcontext(&s_current->context, &s_scheduler);
}

void end_thread() {
  s_current->state = thread::OVER;
  end_step();
}

template <class Value>
Value told(Value value) {
  if (s_current) s_current->seen = (s_current->seen ^ static_cast<uint64_t>(value)) * 0x9e3779b97f4a7c15u + 1;
  return value;
}

uint64_t sum_of(const std::vector<char>& bytes) {
  uint64_t sum = 0;
  for (const char byte : bytes) sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001b3u;
  return sum;
}

// What a mutex guards may be read plainly by who has it. Words that are read without it are told one by one.
uint64_t guarded_sum() {
  std::vector<char> guarded = s_record;
  for (const auto& [at, size] : s_open_words) memset(guarded.data() + at, 0, size);
  return sum_of(guarded);
}

// What lies in the object must not be touched once it has gone.
ptrdiff_t place_of(const void* part) {
  const ptrdiff_t at = static_cast<const char*>(part) - s_record.data();
  EXPECT_TRUE(at >= 0 && at < std::ssize(s_record)) << "touched when it was gone";
  return at;
}
template <class Part>
Part* alive(Part* part) {
  end_step();
  place_of(part);
  return part;
}
template <class Word>
Word* word_at(Word* word) {
  const ptrdiff_t at = place_of(word);
  if (s_current && !s_current->has_mutex) s_open_words[at] = sizeof *word;
  return word;
}

template <class Word>
uint64_t number(Word word) {
  uint64_t bits = 0;
  memcpy(&bits, &word, sizeof word);
  return bits;
}
template <class Word>
Word load(const Word* word) {
  const Word value = *word_at(word);
  told(number(value));
  return value;
}
template <class Word>
void store(Word* word, Word value) {
  *word_at(alive(word)) = value;
  told(1);
}
template <class Word>
Word swap(Word* word, Word value) {
  const Word old = std::exchange(*word_at(alive(word)), value);
  told(number(old));
  return old;
}
template <class Word>
Word add_bits(Word* word, Word bits) {
  const Word old = *word_at(alive(word));
  *word |= bits;
  return told(old);
}
template <class Word>
bool change(Word* word, Word* seen, Word value) {
  const Word old = told(*word_at(alive(word)));
  if (old == *seen) *word = value;
  return std::exchange(*seen, old) == old && *word == value;
}

// Between two operations a thread remembers no more than the place where it is.
void at_place(uint64_t place) { s_current->seen = place << 32; }

/* ---- Decisions ----------------------------------------------------------------------------------------------------- */

struct decision {
  size_t taken, of;
};
std::vector<decision> s_path;
size_t s_decided;

size_t decide(size_t of) {
  if (s_decided == s_path.size()) s_path.push_back({0, of});
  return s_path[s_decided++].taken;
}

bool next_path() {
  while (!s_path.empty() && ++s_path.back().taken == s_path.back().of) s_path.pop_back();
  s_decided = 0;
  return !s_path.empty();
}

/* ---- Mutexes and conditions ---------------------------------------------------------------------------------------- */

int pthread_mutexattr_init(pthread_mutexattr_t*) { return 0; }
int pthread_mutexattr_destroy(pthread_mutexattr_t*) { return 0; }
int pthread_condattr_init(pthread_condattr_t*) { return 0; }
int pthread_condattr_destroy(pthread_condattr_t*) { return 0; }
int pthread_cond_init(pthread_cond_t*, const pthread_condattr_t*) { return 0; }
int pthread_cond_destroy(pthread_cond_t*) { return 0; }
int pthread_mutex_init(pthread_mutex_t*, const pthread_mutexattr_t*) { return 0; }
int pthread_mutex_destroy(pthread_mutex_t* mutex) {
  EXPECT_FALSE(mutex->held);
  return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  if (s_current) s_current->wants = mutex;
  alive(mutex)->held = true;
  if (s_current) s_current->has_mutex = true;
  told(guarded_sum());
  return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  EXPECT_TRUE(std::exchange(alive(mutex)->held, false));
  if (s_current) s_current->has_mutex = false;
  told(2);
  return 0;
}

int pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* mutex) {
  EXPECT_TRUE(std::exchange(alive(mutex)->held, false));
  if (s_current) s_current->has_mutex = false;
  s_current->state = thread::ASLEEP;
  s_current->on = cond;
  s_current->wants = mutex;
  alive(mutex)->held = true;
  s_current->has_mutex = true;
  s_current->on = nullptr;
  told(guarded_sum());
  if (s_current->cancelled) {
    s_current->clean_up();
    end_thread();
  }
  return 0;
}
int pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex, const timespec*) {
  return pthread_cond_wait(cond, mutex);
}

const pthread_cond_t* s_never_broadcast;

std::vector<thread*> sleepers(const pthread_cond_t* cond) {
  std::vector<thread*> found;
  for (thread& each : s_threads)
    if (each.state == thread::ASLEEP && (!cond || each.on == cond)) found.push_back(&each);
  return found;
}

int pthread_cond_signal(pthread_cond_t* cond) {
  alive(cond);
  const auto asleep = sleepers(cond);
  if (!asleep.empty()) asleep[decide(asleep.size())]->state = thread::READY;
  told(3);
  return 0;
}
int pthread_cond_broadcast(pthread_cond_t* cond) {
  alive(cond);
  EXPECT_NE(cond, s_never_broadcast) << "more than one is woken";
  for (thread* each : sleepers(cond)) each->state = thread::READY;
  told(4);
  return 0;
}

/* ---- Memory: one object -------------------------------------------------------------------------------------------- */

void* pask_memory_alloc(uint32_t size) {
  s_record.assign(size, 0);
  return s_record.data();
}
void pask_memory_free(void*) {
  alive(s_record.data());
  s_record.assign(s_record.size(), 0);
  s_record.clear();
}

/* ---- The sources --------------------------------------------------------------------------------------------------- */

#pragma push_macro("VELOX_BEGIN_DECLS")
#pragma push_macro("VELOX_END_DECLS")
#undef VELOX_BEGIN_DECLS
#undef VELOX_END_DECLS
#undef pthread_cleanup_push
#undef pthread_cleanup_pop
#define VELOX_BEGIN_DECLS
#define VELOX_END_DECLS
#define pthread_cleanup_push(routine, argument) s_current->clean_up = [=] { routine(argument); };
#define pthread_cleanup_pop(run)                s_current->clean_up = nullptr;
#define __atomic_load_n(word, order)            load(word)
#define __atomic_store_n(word, value, order)    store(word, value)
#define __atomic_exchange_n(word, value, order) swap(word, value)
#define __atomic_fetch_or(word, bits, order)    add_bits(word, bits)
#define __atomic_compare_exchange_n(word, seen, value, weak, order, failed_order) \
  ((void)(order), change(word, seen, value))
#define __builtin_thread_pointer() static_cast<void*>(s_current ? s_current : s_threads.end())
#include "pask_critsec.cpp"
#include "pask_event.cpp"
#include "pask_rwlock.cpp"
#include "pask_thread_error.cpp"
#include "pask_thread_wait.cpp"
#undef pthread_cleanup_push
#undef pthread_cleanup_pop
#pragma pop_macro("VELOX_BEGIN_DECLS")
#pragma pop_macro("VELOX_END_DECLS")

/* ---- Schedules ----------------------------------------------------------------------------------------------------- */

struct scenario {
  std::function<void()> set_up;
  std::vector<std::function<void()>> threads;
  std::function<void(const std::vector<thread*>& asleep)> at_end;  // nobody can go on
  int unasked_wakes = 0;
  int cancellations = 0;
};

void thread_main() {
  s_current->work();
  end_thread();
}

void thread_begin(size_t index, std::function<void()> work) {
  thread& made = s_threads[index];
  made = {};
  made.work = std::move(work);
  getcontext(&made.context);
  made.context.uc_stack.ss_sp = s_stacks[index].data();
  made.context.uc_stack.ss_size = s_stacks[index].size();
  makecontext(&made.context, thread_main, 0);
}

// Runs a thread up to the end of its step.
void go_on(thread& chosen) {
  chosen.wants = nullptr;
  ++chosen.seen;  // where it is
  s_current = &chosen;
  swapcontext(&s_scheduler, &chosen.context);
  s_current = nullptr;
}

bool can_go_on(const thread& each) { return each.state == thread::READY && !(each.wants && each.wants->held); }

uint64_t state_sum(int wakes, int cancellations) {
  uint64_t sum = sum_of(s_record) + static_cast<uint64_t>(wakes * 7 + cancellations);
  for (const thread& each : s_threads)
    for (const uint64_t part : {each.seen, static_cast<uint64_t>(each.state)})
      sum = (sum ^ part) * 0x9e3779b97f4a7c15u + 1;
  return sum;
}

// One path to its end, or to a state that was met before.
void run_path(const scenario& what, std::unordered_set<uint64_t>& met) {
  what.set_up();
  for (thread& each : s_threads) each = {}, each.state = thread::OVER;
  for (size_t i = 0; i < what.threads.size(); ++i) thread_begin(i, what.threads[i]);
  int wakes = what.unasked_wakes, cancellations = what.cancellations;
  for (;;) {
    std::vector<thread*> ready;
    for (thread& each : s_threads)
      if (can_go_on(each)) ready.push_back(&each);
    const auto asleep = sleepers(nullptr);
    if (ready.empty()) return what.at_end(asleep);
    if (s_decided == s_path.size() && !met.insert(state_sum(wakes, cancellations)).second) return;
    const size_t woken = wakes ? asleep.size() : 0, cancelled = cancellations ? asleep.size() : 0;
    const size_t chosen = decide(ready.size() + woken + cancelled);
    if (chosen < ready.size()) {
      go_on(*ready[chosen]);
      continue;
    }
    thread& sleeper = *asleep[(chosen - ready.size()) % asleep.size()];
    sleeper.state = thread::READY;
    sleeper.cancelled = chosen >= ready.size() + woken;
    --(sleeper.cancelled ? cancellations : wakes);
  }
}

void expect_in_every_order(const scenario& what) {
  std::unordered_set<uint64_t> met;
  s_open_words.clear();
  s_path.clear();
  s_decided = 0;
  do {
    run_path(what, met);
  } while (!testing::Test::HasFailure() && next_path());
  EXPECT_GT(met.size(), 100u);
}

}  // namespace lock_model

namespace {

namespace model = lock_model;
using model::scenario;
using model::thread;

class EveryOrder : public testing::Test {
 protected:
  void SetUp() override { model::s_never_broadcast = nullptr; }
  static void nobody_sleeps(const std::vector<thread*>& asleep) { EXPECT_TRUE(asleep.empty()) << "a lost wake-up"; }
};

class EveryOrderOfSection : public EveryOrder {
 protected:
  void create() {
    EXPECT_EQ(model::pask_thread_critsec_create(&section), 0u);
    inside = 0;
    references = 3;
  }
  void visit(uint64_t levels, bool last_deletes) {
    for (uint64_t level = 1; level <= levels; ++level) {
      EXPECT_EQ(model::pask_thread_critsec_enter(section), 0u);
      model::at_place(level);
    }
    EXPECT_EQ(++inside, 1) << "threads inside";
    model::end_step();
    const bool last = --references == 0 && last_deletes;
    for (uint64_t level = levels; level >= 1; --level) {
      if (level == 1) --inside;
      EXPECT_EQ(model::pask_thread_critsec_leave(section), 0u);
      model::at_place(10 * level + last);
    }
    EXPECT_TRUE(!last || model::pask_thread_critsec_delete(section) == 0);
  }
  model::pask_critsec_handle section = nullptr;
  int inside, references;
};

TEST_F(EveryOrderOfSection, LetsInOneAfterTheOtherAndGoesWithTheLast) {
  model::expect_in_every_order({
      .set_up = [this] { create(); },
      .threads = {[this] { visit(2, true); }, [this] { visit(1, true); }, [this] { visit(1, true); }},
      .at_end = nobody_sleeps,
  });
}

TEST_F(EveryOrderOfSection, ForgetsAWaiterThatIsCancelled) {
  model::expect_in_every_order({
      .set_up = [this] { create(); },
      .threads = {3, [this] { visit(1, false); }},
      .at_end =
          [this](const auto& asleep) {
            nobody_sleeps(asleep);
            EXPECT_EQ(model::pask_thread_critsec_delete(section), 0u);
          },
      .cancellations = 1,
  });
}

class EveryOrderOfLock : public EveryOrder {
 protected:
  void read() {
    const std::vector<thread*> ahead = writers_waiting();
    EXPECT_EQ(model::pask_thread_rwlock_readlock(lock), 0u);
    for (const thread* writer : writers_waiting())
      EXPECT_EQ(std::count(ahead.begin(), ahead.end(), writer), 0) << "a reader has overtaken a writer";
    model::at_place(1);
    ++readers;
    EXPECT_EQ(writers, 0);
    model::end_step();
    --readers;
    EXPECT_EQ(model::pask_thread_rwlock_unlock(lock), 0u);
    model::at_place(2);
  }
  void write() {
    EXPECT_EQ(model::pask_thread_rwlock_writelock(lock), 0u);
    model::at_place(1);
    EXPECT_EQ(++writers + readers, 1);
    model::end_step();
    --writers;
    EXPECT_EQ(model::pask_thread_rwlock_unlock(lock), 0u);
    model::at_place(2);
  }
  std::vector<thread*> writers_waiting() {
    std::vector<thread*> found;
    for (thread& each : model::s_threads)
      if (each.on == &lock->write_cond) found.push_back(&each);
    return found;
  }
  // Threads that read or write once each, by letter.
  void expect_right(const std::string& letters, int wakes, int cancellations) {
    scenario what = {
        .set_up =
            [this] {
              EXPECT_EQ(model::pask_thread_rwlock_create(&lock), 0u);
              model::s_never_broadcast = &lock->write_cond;
              readers = writers = 0;
            },
        .threads = {},
        .at_end =
            [this](const auto& asleep) {
              nobody_sleeps(asleep);
              EXPECT_EQ(model::pask_thread_rwlock_unlock(lock), 0x90020001u);
              EXPECT_EQ(model::pask_thread_rwlock_delete(lock), 0u);
            },
        .unasked_wakes = wakes,
        .cancellations = cancellations,
    };
    for (const char letter : letters) what.threads.push_back([this, letter] { letter == 'r' ? read() : write(); });
    model::expect_in_every_order(what);
  }
  model::pask_rwlock_handle lock = nullptr;
  int readers, writers;
};

TEST_F(EveryOrderOfLock, HasReadersOrAWriterAndNoReaderPassesAWaitingWriter) {
  for (const char* const letters : {"rrw", "rww"}) expect_right(letters, 1, 0);
}

TEST_F(EveryOrderOfLock, ForgetsAWaiterThatIsCancelled) {
  for (const char* const letters : {"rrw", "rww"}) expect_right(letters, 0, 1);
}

class EveryOrderOfEvent : public EveryOrder {
 protected:
  void wait() {
    EXPECT_EQ(model::pask_thread_event_wait(event, PASK_THREAD_NO_LIMIT), 0u);
    ++through;
  }
  void signal_and_reset(bool resets) {
    const auto waiting = model::sleepers(nullptr);
    EXPECT_EQ(model::pask_thread_event_signal(event), 0u);
    asleep_at_signal = waiting;
    model::at_place(1);
    EXPECT_TRUE(!resets || model::pask_thread_event_reset(event) == 0);
  }
  // Two waiters, and a thread that signals, and takes it back where the event wouldn't.
  void expect_right(bool manual, int wakes, int cancellations) {
    model::expect_in_every_order({
        .set_up =
            [=, this] {
              EXPECT_EQ(model::pask_thread_event_create(&event, 0, manual), 0u);
              through = 0;
            },
        .threads = {[this] { wait(); }, [this] { wait(); }, [=, this] { signal_and_reset(manual); }},
        .at_end =
            [=, this](const auto& asleep) {
              for (const thread* each : asleep)
                EXPECT_TRUE(!manual || std::ranges::count(asleep_at_signal, each) == 0) << "a lost wake-up";
              EXPECT_TRUE(asleep.empty() || !signalled()) << "a lost wake-up";
              EXPECT_TRUE(manual || through + signalled() == 1) << through;
              EXPECT_EQ(model::pask_thread_event_delete(event), 0u);
            },
        .unasked_wakes = wakes,
        .cancellations = cancellations,
    });
  }
  // Nobody is there to be kept out any more.
  PASK_NO_THREAD_SAFETY_ANALYSIS int signalled() const { return event->signalled; }
  model::pask_event_handle event = nullptr;
  int through;
  std::vector<thread*> asleep_at_signal;
};

TEST_F(EveryOrderOfEvent, LetsOneThroughOrAllThatASignalHasMet) {
  expect_right(false, 2, 0);
  expect_right(true, 0, 0);
}

TEST_F(EveryOrderOfEvent, PassesOnTheSignalOfAWaiterThatIsCancelled) {
  expect_right(false, 1, 1);
  expect_right(true, 0, 1);
}

}  // namespace
