// The memory service of the stand-in: libc's allocator with a count of live blocks and refusals on demand.
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "velox_manager.h"
#include "velox_standin.h"

namespace {

constexpr pask_status MEMORY_NOT_INITED = 0x90010007;
constexpr int64_t NEVER = -1;

std::atomic<uint32_t> s_starts{0};
std::atomic<int64_t> s_live_blocks{0};
std::atomic<uint64_t> s_allocations{0};

std::atomic<bool> s_counting{false};          // a refusal is armed
std::atomic<int64_t> s_until_refusal{NEVER};  // allocations still granted
std::atomic<bool> s_refuse_all_after{false};
std::atomic<bool> s_refused{false};

// Decides about one allocation while a refusal is armed.
bool refuse_this_one() {
  const int64_t left = s_until_refusal.fetch_sub(1);
  const bool refused = left == 0 || (left < 0 && s_refuse_all_after);
  if (refused) s_refused = true;
  return refused;
}

bool refused() { return s_counting.load(std::memory_order_relaxed) && refuse_this_one(); }

void count(int64_t blocks) {
  s_live_blocks.fetch_add(blocks, std::memory_order_relaxed);
  s_allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

pask_status pask_memory_initialize() {
  s_starts.fetch_add(1);
  return 0;
}

pask_status pask_memory_shutdown() {
  uint32_t starts = s_starts.load();
  while (starts != 0)
    if (s_starts.compare_exchange_weak(starts, starts - 1)) return 0;
  return MEMORY_NOT_INITED;
}

void* pask_memory_alloc(uint32_t size) {
  if (refused()) return nullptr;
  void* block = std::malloc(size ? size : 1);
  if (block) count(1);
  return block;
}

void* pask_memory_realloc(void* block, uint32_t size) {
  if (refused()) return nullptr;
  void* moved = std::realloc(block, size ? size : 1);
  if (moved) count(block ? 0 : 1);
  return moved;
}

void pask_memory_free(void* block) {
  if (!block) return;
  s_live_blocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

void pask_memory_memset(void* block, uint8_t byte, uint32_t size) { std::memset(block, byte, size); }
void pask_memory_memcpy(void* to, const void* from, uint32_t size) { std::memcpy(to, from, size); }
void pask_memory_memmove(void* to, const void* from, uint32_t size) { std::memmove(to, from, size); }
int32_t pask_memory_memcmp(const void* a, const void* b, uint32_t size) { return std::memcmp(a, b, size); }

uint32_t velox_standin_memory_starts(void) { return s_starts.load(); }
int64_t velox_standin_memory_live_blocks(void) { return s_live_blocks.load(); }
uint64_t velox_standin_memory_allocations(void) { return s_allocations.load(); }

void velox_standin_memory_refuse(uint32_t granted, uint8_t all_after) {
  s_refused = false;
  s_refuse_all_after = all_after != 0;
  s_until_refusal = granted;
  s_counting = true;
}

uint8_t velox_standin_memory_refuse_end(void) {
  s_counting = false;
  s_until_refusal = NEVER;
  return s_refused ? 1 : 0;
}
