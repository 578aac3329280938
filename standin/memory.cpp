// The memory service of the stand-in: libc's allocator with counts and refusals on demand.
//
// Each thread counts in a cell of its own, so that an allocation costs no locked instruction and threads don't meet; a reader
// adds the cells up. Cells are never freed: a thread that ends leaves its counts behind and its cell to a later thread.
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "velox_manager.h"
#include "velox_standin.h"

namespace {

std::atomic<uint32_t> s_starts{0};

std::atomic<bool> s_counting{false};      // a refusal is armed
std::atomic<int64_t> s_until_refusal{0};  // allocations still granted
std::atomic<bool> s_refuse_all_after{false};
std::atomic<bool> s_refused{false};

using counter = std::atomic<uint64_t>;

struct alignas(64) count_cell {
  counter allocated{0};
  counter reallocated{0};
  counter freed{0};
  std::atomic<bool> taken{true};
  count_cell* next = nullptr;
};

constinit count_cell s_shared_cell;  // of threads that are ending, and the end of the list
constinit std::atomic<count_cell*> s_cells{&s_shared_cell};
constinit thread_local count_cell* t_cell = nullptr;
constinit thread_local bool t_ended = false;

// Gives the cell back at the thread's end. The destructor of a key, not of a thread_local: it comes also when a thread's
// first count is made by another key's destructor.
void at_thread_end(void* cell) {
  t_ended = true;
  t_cell = nullptr;
  static_cast<count_cell*>(cell)->taken.store(false, std::memory_order_release);
}

struct end_key {
  end_key() { pthread_key_create(&key, at_thread_end); }
  ~end_key() { pthread_key_delete(key); }
  pthread_key_t key = ~pthread_key_t{0};  // none, should the process have run out of keys
};

count_cell* take_cell() {
  for (count_cell* at = s_cells.load(std::memory_order_acquire); at; at = at->next)
    if (!at->taken.load(std::memory_order_relaxed) && !at->taken.exchange(true, std::memory_order_acquire)) return at;
  auto* made = new (std::nothrow) count_cell;
  if (!made) return nullptr;
  made->next = s_cells.load(std::memory_order_relaxed);
  while (!s_cells.compare_exchange_weak(made->next, made, std::memory_order_release, std::memory_order_relaxed)) {
  }
  return made;
}

[[gnu::cold, gnu::noinline]] void count_first(counter count_cell::*which) {
  if (!t_ended) {
    static const end_key end;
    t_cell = take_cell();
    if (t_cell && pthread_setspecific(end.key, t_cell) != 0) at_thread_end(t_cell);
  }
  count_cell* cell = t_cell ? t_cell : &s_shared_cell;
  (cell->*which).fetch_add(1, std::memory_order_relaxed);
}

void count(counter count_cell::*which) {
  if (count_cell* mine = t_cell) [[likely]] {
    counter& own = mine->*which;  // written by this thread alone
    own.store(own.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  } else {
    count_first(which);
  }
}

uint64_t total(counter count_cell::*which) {
  uint64_t sum = 0;
  for (const count_cell* at = s_cells.load(std::memory_order_acquire); at; at = at->next)
    sum += (at->*which).load(std::memory_order_relaxed);
  return sum;
}

// Decides about one allocation while a refusal is armed.
bool refuse_this_one() {
  const int64_t left = s_until_refusal.fetch_sub(1);
  const bool refused = left == 0 || (left < 0 && s_refuse_all_after);
  if (refused) s_refused = true;
  return refused;
}

bool refused() { return s_counting.load(std::memory_order_relaxed) && refuse_this_one(); }

}  // namespace

pask_status pask_memory_initialize() {
  s_starts.fetch_add(1);
  return 0;
}

pask_status pask_memory_shutdown() {
  uint32_t starts = s_starts.load();
  while (starts != 0)
    if (s_starts.compare_exchange_weak(starts, starts - 1)) return 0;
  return VELOX_STANDIN_ERR_NOT_INITED;
}

void* pask_memory_alloc(uint32_t size) {
  if (refused()) return nullptr;
  void* block = std::malloc(size ? size : 1);
  if (block) count(&count_cell::allocated);
  return block;
}

void* pask_memory_realloc(void* block, uint32_t size) {
  if (refused()) return nullptr;
  void* moved = std::realloc(block, size ? size : 1);
  if (moved) count(block ? &count_cell::reallocated : &count_cell::allocated);
  return moved;
}

void pask_memory_free(void* block) {
  if (!block) return;
  count(&count_cell::freed);
  std::free(block);
}

void pask_memory_memset(void* block, uint8_t byte, uint32_t size) { std::memset(block, byte, size); }
void pask_memory_memcpy(void* to, const void* from, uint32_t size) { std::memcpy(to, from, size); }
void pask_memory_memmove(void* to, const void* from, uint32_t size) { std::memmove(to, from, size); }
int32_t pask_memory_memcmp(const void* a, const void* b, uint32_t size) { return std::memcmp(a, b, size); }

uint32_t velox_standin_memory_starts(void) { return s_starts.load(); }

int64_t velox_standin_memory_live_blocks(void) {
  const uint64_t freed = total(&count_cell::freed);  // first, so that a count taken beside other threads isn't negative
  return static_cast<int64_t>(total(&count_cell::allocated) - freed);
}

uint64_t velox_standin_memory_allocations(void) {
  return total(&count_cell::allocated) + total(&count_cell::reallocated);
}

void velox_standin_memory_refuse(uint32_t granted, uint8_t all_after) {
  s_refused = false;
  s_refuse_all_after = all_after != 0;
  s_until_refusal = granted;
  s_counting = true;
}

uint8_t velox_standin_memory_refuse_end(void) {
  s_counting = false;
  return s_refused ? 1 : 0;
}
