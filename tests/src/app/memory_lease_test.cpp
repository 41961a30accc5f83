#include "app/memory_lease.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>
#include <memory>
#include <type_traits>
#include <vector>

namespace {

constexpr std::size_t MEGABYTE = 1U << 20U;
constexpr std::size_t BLOCK = 4096;  // small enough for the allocator to keep it
constexpr std::size_t BLOCKS = 32 * MEGABYTE / BLOCK;

using Block = std::vector<char>;

std::size_t residentMemory() {
  std::ifstream status("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  status >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST(MemoryLeaseTest, WhatTheWorkHasFreedGoesBackToTheSystem) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "of the C library's allocator, which the address sanitizer replaces";
#endif
  const std::size_t before = residentMemory();
  std::unique_ptr<Block> kept;  // holds the heap's end, as what outlives the work may
  std::size_t atMost = 0;
  {
    const MemoryLease lease;
    std::vector<Block> work(BLOCKS, Block(BLOCK, 'x'));
    kept = std::make_unique<Block>(16 * BLOCK, 'x');  // no gap is as large
    atMost = residentMemory();
  }
  EXPECT_GE(atMost, before + 32 * MEGABYTE);
  EXPECT_LE(residentMemory(), before + 2 * MEGABYTE);
}

// The allocator takes a block of 4 MB that is freed for a sign that such blocks are usual.
TEST(GiveLargeBlocksBackTest, ALargeBlockGoesBackWhenItIsFreedHoweverManyThereWereBefore) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "of the C library's allocator, which the address sanitizer replaces";
#endif
  utils::giveLargeBlocksBack();
  std::make_unique<Block>(4 * MEGABYTE, 'x').reset();
  const std::size_t before = residentMemory();
  std::vector<Block> texts(3, Block(MEGABYTE, 'x'));
  EXPECT_GE(residentMemory(), before + 3 * MEGABYTE);
  texts.clear();
  EXPECT_LE(residentMemory(), before + MEGABYTE / 2);
}

// It stands where an exception would end the daemon.
TEST(MemoryLeaseTest, DoesNotThrow) {
  EXPECT_TRUE(std::is_nothrow_default_constructible_v<MemoryLease>);
  EXPECT_TRUE(std::is_nothrow_destructible_v<MemoryLease>);
}

}  // namespace
