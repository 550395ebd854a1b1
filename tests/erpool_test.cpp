// Memory pools: chunks, pools, the global pools, size-routed allocation and pooled classes.
#include "velmora/erpool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

const char* const kUnit = "source/align/erpool";

// The start of the report of a failed check of this unit, whatever its line.
std::string reportStart(const std::string& condition) {
  return "\n\n" + condition + " failed in " + kUnit + " at line ";
}

uintptr_t address(const void* p) { return reinterpret_cast<uintptr_t>(p); }

uint32_t wordAt(const void* p) {
  uint32_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

void setWordAt(void* p, uint32_t word) { std::memcpy(p, &word, sizeof word); }

// The header word just before an address handed out.
uint32_t headerWord(const void* p) { return wordAt(static_cast<const unsigned char*>(p) - 4); }

void* before(void* p) { return static_cast<unsigned char*>(p) - 4; }

// Slot k of a chunk of element size s starts 32 + k*(s + 4) bytes into its block, and its element
// 4 bytes later.
uintptr_t elementAddress(const ERChunk& c, unsigned k) {
  return address(c.getBlock()) + 32 + k * (c.getElementSize() + 4) + 4;
}

// Turns the pools' progress messages on for the life of the guard.
struct Verbose {
  Verbose() { debug_MemPool = 1; }
  ~Verbose() { debug_MemPool = 0; }
};

// A pool made by the test; its element size depends on how many pools the process made before.
std::vector<void*> allocMany(ERMemPool& pool, unsigned n) {
  std::vector<void*> v;
  for (unsigned i = 0; i < n; ++i) v.push_back(pool.alloc());
  return v;
}

// The number of elements a chunk of the pool hands out: its capacity less the last slot.
unsigned perChunk(const ERMemPool& pool) { return 4064 / (pool.elementSize() + 4) - 1; }

// ---------------------------------------------------------------------------------------------
// ERChunk

TEST(ERChunkTest, CapacityIsBlockLessHeaderOverSlotSize) {
  ERChunk four(4, nullptr, nullptr);
  ERChunk eight(8, nullptr, nullptr);
  ERChunk large(196, nullptr, nullptr);
  EXPECT_EQ(four.getCapacity(), 508u);
  EXPECT_EQ(eight.getCapacity(), 338u);  // 4064 / 12
  EXPECT_EQ(large.getCapacity(), 20u);   // 4064 / 200
  EXPECT_EQ(four.getElementSize(), 4u);
}

TEST(ERChunkTest, ElementSizeFourHandsOut507SlotsThenIsFull) {
  ERChunk c(4, nullptr, nullptr);
  std::set<void*> seen;
  for (unsigned i = 0; i < 507; ++i) {
    void* p = c.GetNextFreeItem();
    ASSERT_NE(p, nullptr) << i;
    seen.insert(p);
  }
  EXPECT_EQ(seen.size(), 507u);
  EXPECT_EQ(c.GetNextFreeItem(), nullptr);
  EXPECT_EQ(c.getUsed(), 507u);
  EXPECT_EQ(c.getLastIndex(), 507u);
}

TEST(ERChunkTest, FreshChunkIsZeroFilledAndEmpty) {
  ERChunk c(12, nullptr, nullptr);
  EXPECT_EQ(c.getLastIndex(), 0u);
  EXPECT_EQ(c.getUsed(), 0u);
  EXPECT_EQ(c.getPrevious(), nullptr);
  EXPECT_EQ(c.getNext(), nullptr);
  EXPECT_EQ(address(c.getBlock()) % 4096, 0u);
  // The first 8 bytes of the header point back to the chunk; everything after them is zero.
  const unsigned char* bytes = static_cast<const unsigned char*>(c.getBlock());
  unsigned nonZero = 0;
  for (unsigned i = 8; i < 4096; ++i) nonZero += bytes[i] != 0;
  EXPECT_EQ(nonZero, 0u);
}

TEST(ERChunkTest, NewChunkLinksInFrontOfNext) {
  ERMemPool pool;
  ERChunk older(8, nullptr, &pool);
  ERChunk newer(8, &older, &pool);
  EXPECT_EQ(newer.getNext(), &older);
  EXPECT_EQ(older.getPrevious(), &newer);
  EXPECT_EQ(newer.getPrevious(), nullptr);
  EXPECT_EQ(newer.getPool(), &pool);
}

TEST(ERChunkTest, FreshSlotsFollowTheHeaderInSlotOrder) {
  ERChunk c(8, nullptr, nullptr);
  for (unsigned k = 0; k < 3; ++k) {
    void* p = c.GetNextFreeItem();
    EXPECT_EQ(address(p), elementAddress(c, k));
    EXPECT_EQ(address(p) % ER_BYTE_ALIGN, 0u);
    // The chunk word is the slot's byte offset within the block: never 0.
    EXPECT_EQ(headerWord(p), 32 + k * 12);
    EXPECT_EQ(ERChunk::chunkWord(p), 32 + k * 12);
    EXPECT_EQ(ERChunk::chunkOf(p), &c);
    EXPECT_EQ(ERChunk::chunkNamedBy(p, 32 + k * 12), &c);
    EXPECT_EQ(ERChunk::chunkNamedBy(p, 32 + k * 12 + 4), nullptr);
  }
}

TEST(ERChunkTest, FreeItemReturnsRemainingCount) {
  ERChunk c(8, nullptr, nullptr);
  void* a = c.GetNextFreeItem();
  void* b = c.GetNextFreeItem();
  void* d = c.GetNextFreeItem();
  EXPECT_EQ(c.FreeItem(b), 2u);
  EXPECT_EQ(c.FreeItem(a), 1u);
  EXPECT_EQ(c.FreeItem(d), 0u);
  EXPECT_EQ(c.getUsed(), 0u);
}

TEST(ERChunkTest, ReturnedSlotsAreHandedOutLastReturnedFirstBeforeFreshOnes) {
  ERChunk c(8, nullptr, nullptr);
  void* a = c.GetNextFreeItem();
  void* b = c.GetNextFreeItem();
  c.FreeItem(a);
  c.FreeItem(b);
  EXPECT_EQ(c.GetNextFreeItem(), b);
  EXPECT_EQ(c.GetNextFreeItem(), a);
  EXPECT_EQ(address(c.GetNextFreeItem()), elementAddress(c, 2));
  EXPECT_EQ(c.getUsed(), 3u);
  EXPECT_EQ(c.getLastIndex(), 3u);
}

TEST(ERChunkTest, FullChunkStillServesReturnedSlots) {
  ERChunk c(196, nullptr, nullptr);
  std::vector<void*> v;
  for (unsigned i = 0; i < 19; ++i) v.push_back(c.GetNextFreeItem());
  EXPECT_EQ(c.GetNextFreeItem(), nullptr);
  c.FreeItem(v[7]);
  EXPECT_EQ(c.GetNextFreeItem(), v[7]);
  EXPECT_EQ(c.GetNextFreeItem(), nullptr);
}

TEST(ERChunkTest, InBoundFromFirstSlotToEndOfLastSlot) {
  ERChunk c(8, nullptr, nullptr);
  const unsigned char* block = static_cast<const unsigned char*>(c.getBlock());
  const unsigned end = 32 + 338 * 12;  // 4088
  EXPECT_FALSE(c.IsInBound(block));
  EXPECT_FALSE(c.IsInBound(block + 31));
  EXPECT_TRUE(c.IsInBound(block + 32));
  EXPECT_TRUE(c.IsInBound(block + end - 1));  // the last slot, never handed out, is still in bound
  EXPECT_FALSE(c.IsInBound(block + end));
  ERChunk other(8, nullptr, nullptr);
  EXPECT_FALSE(c.IsInBound(static_cast<const unsigned char*>(other.getBlock()) + 36));
}

TEST(ERChunkTest, FreeingAnElementOfAnotherChunkFailsInBound) {
  ERChunk c(8, nullptr, nullptr);
  ERChunk other(8, nullptr, nullptr);
  c.GetNextFreeItem();
  void* foreign = other.GetNextFreeItem();
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(c.FreeItem(foreign), vtest::reportRegexAnyLine("IsInBound(b)", kUnit));
  } else {
    unsigned remaining = 99;
    std::string err = vtest::captureStderr([&] { remaining = c.FreeItem(foreign); });
    EXPECT_TRUE(vtest::contains(err, reportStart("IsInBound(b)")));
    // Neither chunk is touched: the element was not this chunk's to take back.
    EXPECT_EQ(remaining, 1u);
    EXPECT_EQ(c.getUsed(), 1u);
    EXPECT_EQ(other.getUsed(), 1u);
  }
}

TEST(ERChunkTest, CorruptFreeListLinkFailsInBound) {
  ERChunk c(8, nullptr, nullptr);  // slots end at byte 4088 of the block
  void* a = c.GetNextFreeItem();
  void* b = c.GetNextFreeItem();
  c.FreeItem(a);
  c.FreeItem(b);
  setWordAt(b, 4092);  // b's link now names an element past the last slot
  EXPECT_EQ(c.GetNextFreeItem(), b);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(c.GetNextFreeItem(), vtest::reportRegexAnyLine("IsInBound(p)", kUnit));
  } else {
    void* p = nullptr;
    std::string err = vtest::captureStderr([&] { p = c.GetNextFreeItem(); });
    EXPECT_TRUE(vtest::contains(err, reportStart("IsInBound(p)")));
    // The element is handed out all the same and the broken list ends there.
    EXPECT_EQ(address(p), address(c.getBlock()) + 4092);
    EXPECT_EQ(c.getUsed(), 2u);
    EXPECT_EQ(address(c.GetNextFreeItem()), elementAddress(c, 2));
  }
}

TEST(ERChunkTest, MisalignedSlotFailsAlignment) {
  ERChunk c(5, nullptr, nullptr);  // slots of 9 bytes: the second element starts at byte 45
  void* first = c.GetNextFreeItem();
  EXPECT_EQ(address(first) % 4, 0u);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(c.GetNextFreeItem(), vtest::reportRegexAnyLine("((long)p)%ER_BYTE_ALIGN == 0", kUnit));
  } else {
    void* p = nullptr;
    std::string err = vtest::captureStderr([&] { p = c.GetNextFreeItem(); });
    EXPECT_TRUE(vtest::contains(err, reportStart("((long)p)%ER_BYTE_ALIGN == 0")));
    EXPECT_EQ(address(p), address(c.getBlock()) + 45);
  }
}

TEST(ERChunkTest, DumpPrintsEveryLabelledField) {
  ERChunk older(8, nullptr, nullptr);
  ERChunk c(8, &older, nullptr);
  c.GetNextFreeItem();
  c.GetNextFreeItem();
  c.FreeItem(c.GetNextFreeItem());
  std::ostringstream os;
  c.dump(os);
  std::ostringstream next;
  next << "next Chunk: " << static_cast<const void*>(&older) << "\n";
  const std::string out = os.str();
  EXPECT_TRUE(vtest::contains(out, "size of this: 4096\n"));
  EXPECT_TRUE(vtest::contains(out, "size of a element: 8\n"));
  EXPECT_TRUE(vtest::contains(out, "maximum number of element: 338\n"));
  EXPECT_TRUE(vtest::contains(out, "number of elements: 2\n"));
  EXPECT_TRUE(vtest::contains(out, "last allocated element index: 3\n"));
  EXPECT_TRUE(vtest::contains(out, next.str()));
  EXPECT_TRUE(vtest::contains(out, "previous Chunk: "));
  EXPECT_TRUE(vtest::contains(out, "BYTE ALIGMENT: 4\n"));
}

TEST(ERChunkTest, DumpWithoutStreamWritesStandardOutput) {
  ERChunk c(4, nullptr, nullptr);
  testing::internal::CaptureStdout();
  c.dump();
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(vtest::contains(out, "maximum number of element: 508\n"));
}

// ---------------------------------------------------------------------------------------------
// ERMemPool

TEST(ERMemPoolTest, GlobalPoolIServesFourTimesIPlusOneBytes) {
  for (unsigned i = 0; i < ER_GLOBAL_POOL_COUNT; ++i)
    EXPECT_EQ(ERGlobalMemPool(i).elementSize(), static_cast<int>(4 * (i + 1))) << i;
  EXPECT_EQ(ER_GLOBAL_POOL_COUNT, 49u);
}

TEST(ERMemPoolTest, GlobalPoolIndexOutOfRangeFails) {
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(ERGlobalMemPool(49), vtest::reportRegexAnyLine("i<ER_GLOBAL_POOL_COUNT", kUnit));
  } else {
    ERMemPool* pool = nullptr;
    std::string err = vtest::captureStderr([&] { pool = &ERGlobalMemPool(49); });
    EXPECT_TRUE(vtest::contains(err, reportStart("i<ER_GLOBAL_POOL_COUNT")));
    EXPECT_EQ(pool, &ERGlobalMemPool(48));
  }
}

TEST(ERMemPoolTest, PoolsMadeLaterServeTheNextMultiplesOfFour) {
  ERMemPool a;
  ERMemPool b;
  EXPECT_GE(a.elementSize(), 200);  // the 49 global pools came first
  EXPECT_EQ(a.elementSize() % 4, 0);
  EXPECT_EQ(b.elementSize(), a.elementSize() + 4);
}

TEST(ERMemPoolTest, NewPoolHasNoChunkAndDefaultMaxFree) {
  ERMemPool pool;
  EXPECT_EQ(pool.getHeadChunk(), nullptr);
  EXPECT_EQ(pool.getMaxFree(), 1024u);
  EXPECT_EQ(pool.getNFree(), 0u);
  EXPECT_EQ(pool.chunkCount(), 0u);
}

TEST(ERMemPoolTest, FirstAllocMakesTheHeadChunk) {
  ERMemPool pool;
  void* p = pool.alloc();
  ASSERT_NE(pool.getHeadChunk(), nullptr);
  EXPECT_EQ(pool.chunkCount(), 1u);
  EXPECT_EQ(ERChunk::chunkOf(p), pool.getHeadChunk());
  EXPECT_EQ(pool.getHeadChunk()->getPool(), &pool);
  EXPECT_EQ(static_cast<int>(pool.getHeadChunk()->getElementSize()), pool.elementSize());
  EXPECT_EQ(address(p) % ER_BYTE_ALIGN, 0u);
  EXPECT_NE(headerWord(p), 0u);
}

TEST(ERMemPoolTest, ElementSizeFourPoolHandsOut507PerChunk) {
  ERMemPool& pool = ERGlobalMemPool(0);  // size routing never uses pool 0, so the test may empty it
  pool.purge();
  std::vector<void*> v = allocMany(pool, 507);
  EXPECT_EQ(pool.chunkCount(), 1u);
  ERChunk* first = pool.getHeadChunk();
  void* p = pool.alloc();
  EXPECT_EQ(pool.chunkCount(), 2u);
  EXPECT_NE(pool.getHeadChunk(), first);
  EXPECT_EQ(ERChunk::chunkOf(p), pool.getHeadChunk());
  EXPECT_EQ(pool.getHeadChunk()->getNext(), first);
  EXPECT_EQ(first->getPrevious(), pool.getHeadChunk());
  pool.purge();
}

TEST(ERMemPoolTest, ChunkServesCapacityLessOneThenANewChunkIsMade) {
  ERMemPool pool;
  std::vector<void*> v = allocMany(pool, perChunk(pool));
  EXPECT_EQ(pool.chunkCount(), 1u);
  for (void* p : v) EXPECT_EQ(ERChunk::chunkOf(p), pool.getHeadChunk());
  pool.alloc();
  EXPECT_EQ(pool.chunkCount(), 2u);
}

TEST(ERMemPoolTest, FreedElementsWaitOnThePoolAndComeBackLastFreedFirst) {
  ERMemPool pool;
  void* a = pool.alloc();
  void* b = pool.alloc();
  pool.free(a);
  pool.free(b);
  EXPECT_EQ(pool.getNFree(), 2u);
  EXPECT_EQ(pool.getHeadChunk()->getUsed(), 2u);  // still handed out as far as the chunk knows
  EXPECT_EQ(pool.alloc(), b);
  EXPECT_EQ(pool.alloc(), a);
  EXPECT_EQ(pool.getNFree(), 0u);
  // An element back from the pool's list carries its chunk word again.
  EXPECT_EQ(headerWord(a), ERChunk::chunkWord(a));
  EXPECT_EQ(headerWord(b), ERChunk::chunkWord(b));
}

TEST(ERMemPoolTest, FreeOfNullIsIgnored) {
  ERMemPool pool;
  pool.free(nullptr);
  EXPECT_EQ(pool.getNFree(), 0u);
}

TEST(ERMemPoolTest, MaxFreeZeroGivesElementsBackAtOnceAndReleasesEmptyChunk) {
  ERMemPool pool;
  pool.setMaxFree(0);
  void* a = pool.alloc();
  void* b = pool.alloc();
  pool.free(a);
  EXPECT_EQ(pool.getNFree(), 0u);
  EXPECT_EQ(pool.getHeadChunk()->getUsed(), 1u);
  pool.free(b);
  EXPECT_EQ(pool.getHeadChunk(), nullptr);
  EXPECT_EQ(pool.chunkCount(), 0u);
}

TEST(ERMemPoolTest, OnlyTheHeadChunkServesFreshSlots) {
  ERMemPool pool;
  pool.setMaxFree(0);
  std::vector<void*> first = allocMany(pool, perChunk(pool));
  ERChunk* older = pool.getHeadChunk();
  pool.alloc();
  pool.free(first[3]);
  EXPECT_EQ(older->getUsed(), perChunk(pool) - 1);
  void* p = pool.alloc();
  EXPECT_NE(p, first[3]);
  EXPECT_EQ(ERChunk::chunkOf(p), pool.getHeadChunk());
}

TEST(ERMemPoolTest, ReleasingAMiddleChunkJoinsItsNeighbours) {
  ERMemPool pool;
  pool.setMaxFree(0);
  std::vector<void*> first = allocMany(pool, perChunk(pool));
  ERChunk* oldest = pool.getHeadChunk();
  std::vector<void*> second = allocMany(pool, perChunk(pool));
  ERChunk* middle = pool.getHeadChunk();
  pool.alloc();
  ERChunk* head = pool.getHeadChunk();
  ASSERT_EQ(pool.chunkCount(), 3u);
  ASSERT_NE(middle, oldest);
  for (void* p : second) pool.free(p);
  EXPECT_EQ(pool.chunkCount(), 2u);
  EXPECT_EQ(head->getNext(), oldest);
  EXPECT_EQ(oldest->getPrevious(), head);
  EXPECT_EQ(pool.getHeadChunk(), head);
}

TEST(ERMemPoolTest, ReleasingTheHeadChunkMakesTheNextOneHead) {
  ERMemPool pool;
  pool.setMaxFree(0);
  allocMany(pool, perChunk(pool));
  ERChunk* oldest = pool.getHeadChunk();
  void* p = pool.alloc();
  ASSERT_EQ(pool.chunkCount(), 2u);
  pool.free(p);
  EXPECT_EQ(pool.getHeadChunk(), oldest);
  EXPECT_EQ(pool.chunkCount(), 1u);
  EXPECT_EQ(oldest->getPrevious(), nullptr);
}

TEST(ERMemPoolTest, Freeing1025ElementsCollatesOnce) {
  ERMemPool pool;
  std::vector<void*> v = allocMany(pool, 1025);
  const unsigned chunks = pool.chunkCount();
  EXPECT_EQ(chunks, (1025 + perChunk(pool) - 1) / perChunk(pool));
  for (unsigned i = 0; i < 1024; ++i) pool.free(v[i]);
  EXPECT_EQ(pool.getNFree(), 1024u);
  EXPECT_EQ(pool.chunkCount(), chunks);
  pool.free(v[1024]);
  EXPECT_EQ(pool.getNFree(), 0u);
  // Every element went back to its chunk, so every chunk was released.
  EXPECT_EQ(pool.chunkCount(), 0u);
}

TEST(ERMemPoolTest, VerboseCollationWritesProgressWithOneMarkPerReleasedChunk) {
  ERMemPool pool;
  std::vector<void*> v = allocMany(pool, 1025);
  const unsigned chunks = pool.chunkCount();
  for (unsigned i = 0; i < 1024; ++i) pool.free(v[i]);
  Verbose verbose;
  std::string err = vtest::captureStderr([&] { pool.free(v[1024]); });
  EXPECT_EQ(err, "Garbage Collecting " + std::string(chunks, '.') + "done\n");
}

TEST(ERMemPoolTest, QuietCollationWritesNothing) {
  ERMemPool pool;
  pool.free(pool.alloc());
  std::string err = vtest::captureStderr([&] { pool.collateFreeSpace(); });
  EXPECT_EQ(err, "");
  EXPECT_EQ(pool.getNFree(), 0u);
}

TEST(ERMemPoolTest, CollationGivesElementsBackToTheirChunks) {
  ERMemPool pool;
  void* a = pool.alloc();
  void* b = pool.alloc();
  pool.alloc();
  pool.free(a);
  pool.free(b);
  pool.collateFreeSpace();
  EXPECT_EQ(pool.getNFree(), 0u);
  EXPECT_EQ(pool.getHeadChunk()->getUsed(), 1u);
  // The pool's list is given back last freed first, so a ends on top of the chunk's list.
  EXPECT_EQ(pool.alloc(), a);
  EXPECT_EQ(pool.alloc(), b);
}

TEST(ERMemPoolTest, AllOnesMaxFreeNeverCollates) {
  ERMemPool pool;
  pool.setMaxFree(ERMemPool::noCollation);
  EXPECT_EQ(ERMemPool::noCollation, 0xFFFFFFFFu);
  std::vector<void*> v = allocMany(pool, 1100);
  for (void* p : v) pool.free(p);
  EXPECT_EQ(pool.getNFree(), 1100u);
  pool.collateFreeSpace();
  EXPECT_EQ(pool.getNFree(), 0u);
  EXPECT_EQ(pool.chunkCount(), 0u);
}

TEST(ERMemPoolTest, PurgeReleasesEveryChunkAndEmptiesThePoolList) {
  ERMemPool pool;
  std::vector<void*> v = allocMany(pool, perChunk(pool) + 2);
  pool.free(v[0]);
  ASSERT_EQ(pool.chunkCount(), 2u);
  pool.purge();
  EXPECT_EQ(pool.getHeadChunk(), nullptr);
  EXPECT_EQ(pool.getNFree(), 0u);
  EXPECT_EQ(pool.chunkCount(), 0u);
  void* p = pool.alloc();  // the pool serves again from a fresh chunk
  EXPECT_EQ(ERChunk::chunkOf(p), pool.getHeadChunk());
  EXPECT_EQ(pool.getHeadChunk()->getUsed(), 1u);
}

TEST(ERMemPoolTest, VerbosePurgeWritesPurge) {
  ERMemPool pool;
  pool.alloc();
  Verbose verbose;
  std::string err = vtest::captureStderr([&] { pool.purge(); });
  EXPECT_EQ(err, "Purge...\n");
}

TEST(ERMemPoolTest, QuietPurgeWritesNothing) {
  ERMemPool pool;
  pool.alloc();
  std::string err = vtest::captureStderr([&] { pool.purge(); });
  EXPECT_EQ(err, "");
}

TEST(ERMemPoolTest, ElementsTooLargeForTwoSlotsFailHeadChunkInBound) {
  // Pools are made until one serves at least 2032 bytes: its chunks hold a single slot, which is the
  // last and so never handed out.
  std::vector<std::unique_ptr<ERMemPool>> pools;
  do pools.push_back(std::make_unique<ERMemPool>());
  while (pools.back()->elementSize() < 2032);
  ERMemPool& pool = *pools.back();
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(pool.alloc(), vtest::reportRegexAnyLine("m_pHeadChunk->IsInBound(p)", kUnit));
  } else {
    void* p = reinterpret_cast<void*>(1);
    std::string err = vtest::captureStderr([&] { p = pool.alloc(); });
    EXPECT_TRUE(vtest::contains(err, reportStart("m_pHeadChunk->IsInBound(p)")));
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(pool.chunkCount(), 2u);
  }
}

// ---------------------------------------------------------------------------------------------
// FastAllocate and FastDeallocate

TEST(FastAllocateTest, OneByteComesFromPoolOne) {
  void* p = FastAllocate(1, 1);
  EXPECT_EQ(address(p) % ER_BYTE_ALIGN, 0u);
  void* e = before(p);
  EXPECT_EQ(ERChunk::chunkOf(e)->getPool(), &ERGlobalMemPool(1));
  EXPECT_EQ(ERGlobalMemPool(1).elementSize(), 8);
  // The header word names the chunk: the offset of the pool element's slot within its block.
  EXPECT_EQ(headerWord(p), (address(p) - 8) % 4096);
  EXPECT_NE(headerWord(p), 0u);
  const unsigned waiting = ERGlobalMemPool(1).getNFree();
  FastDeallocate(p);
  EXPECT_EQ(ERGlobalMemPool(1).getNFree(), waiting + 1);
  EXPECT_EQ(FastAllocate(1, 1), p);  // the freed element is the first one handed out again
  FastDeallocate(p);
}

TEST(FastAllocateTest, Size188IsTheLargestPooledRequest) {
  void* p = FastAllocate(188, 1);
  EXPECT_EQ(ERChunk::chunkOf(before(p))->getPool(), &ERGlobalMemPool(48));
  EXPECT_EQ(ERGlobalMemPool(48).elementSize(), 196);
  std::memset(p, 0x5A, 188);
  EXPECT_NE(headerWord(p), 0u);
  FastDeallocate(p);
}

TEST(FastAllocateTest, Size192ComesFromTheHeapWithZeroHeader) {
  void* p = FastAllocate(192, 1);
  EXPECT_EQ(headerWord(p), 0u);
  EXPECT_EQ(address(p) % ER_BYTE_ALIGN, 0u);
  std::memset(p, 0x5A, 192);  // the whole request is usable
  FastDeallocate(p);
}

TEST(FastAllocateTest, CountMultipliesTheSize) {
  void* p = FastAllocate(4, 3);  // 16 bytes: n = 4, elements of 20 bytes
  EXPECT_EQ(ERChunk::chunkOf(before(p))->getPool(), &ERGlobalMemPool(4));
  FastDeallocate(p);
  void* q = FastAllocate(48, 4);  // 196 bytes: n = 49, from the heap
  EXPECT_EQ(headerWord(q), 0u);
  FastDeallocate(q);
}

TEST(FastAllocateTest, EveryPooledSizeFitsItsPoolWithTheHeader) {
  for (unsigned size = 0; size < 260; ++size) {
    void* p = FastAllocate(size, 1);
    const unsigned n = (size + 4) / 4;
    if (n < 49) {
      ERMemPool* pool = ERChunk::chunkOf(before(p))->getPool();
      EXPECT_EQ(pool, &ERGlobalMemPool(n)) << size;
      EXPECT_GE(pool->elementSize(), static_cast<int>(size + 4)) << size;
    } else {
      EXPECT_EQ(headerWord(p), 0u) << size;
    }
    std::memset(p, 0x11, size);
    FastDeallocate(p);
  }
}

TEST(FastAllocateTest, DeallocatingNullIsIgnored) {
  FastDeallocate(nullptr);
  SUCCEED();
}

TEST(FastAllocateTest, CorruptHeaderWordFailsTheChunkCheck) {
  void* p = FastAllocate(1, 1);
  setWordAt(before(p), headerWord(p) + 12);  // names the next slot's offset
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(FastDeallocate(p), vtest::reportRegexAnyLine("ptrChunk==c", kUnit));
    setWordAt(before(p), ERChunk::chunkWord(before(p)));
    FastDeallocate(p);
  } else {
    const unsigned waiting = ERGlobalMemPool(1).getNFree();
    std::string err = vtest::captureStderr([&] { FastDeallocate(p); });
    EXPECT_TRUE(vtest::contains(err, reportStart("ptrChunk==c")));
    // The element still goes back to the pool of the chunk its address lies in.
    EXPECT_EQ(ERGlobalMemPool(1).getNFree(), waiting + 1);
  }
}

// ---------------------------------------------------------------------------------------------
// ERMemoryPool

// Six bytes the constructor leaves alone, so that the pool's fill shows.
struct SixBytes : ERMemoryPool {
  SixBytes() {}
  unsigned char bytes[6];
};

struct LargeObject : ERMemoryPool {
  unsigned char bytes[300] = {};
};

TEST(ERMemoryPoolTest, PoolNewFillsTheObjectWithEF) {
  ERMemPool& pool = ERGlobalMemPool(2);  // 12 bytes: the 6 of the object and the header word fit
  SixBytes* object = new (pool) SixBytes;
  const unsigned char* raw = reinterpret_cast<const unsigned char*>(object);
  for (unsigned i = 0; i < 6; ++i) EXPECT_EQ(raw[i], 0xEF) << i;
  EXPECT_EQ(address(object) % ER_BYTE_ALIGN, 0u);
  EXPECT_EQ(headerWord(object), ERChunk::chunkWord(before(object)));
  EXPECT_EQ(ERChunk::chunkOf(before(object))->getPool(), &pool);
  const unsigned waiting = pool.getNFree();
  delete object;
  EXPECT_EQ(pool.getNFree(), waiting + 1);
}

TEST(ERMemoryPoolTest, PoolTooSmallFailsTheElementSizeCheck) {
  ERMemPool& small = ERGlobalMemPool(1);  // 8 bytes: 6 + 4 do not fit
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(new (small) SixBytes, vtest::reportRegexAnyLine("pool.elementSize()>=(int)si", kUnit));
  } else {
    SixBytes* object = nullptr;
    std::string err = vtest::captureStderr([&] { object = new (small) SixBytes; });
    EXPECT_TRUE(vtest::contains(err, reportStart("pool.elementSize()>=(int)si")));
    // The object is routed by size instead: (6 + 4) / 4 = pool 2.
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(ERChunk::chunkOf(before(object))->getPool(), &ERGlobalMemPool(2));
    delete object;
  }
}

TEST(ERMemoryPoolTest, PlainNewIsRoutedBySize) {
  SixBytes* object = new SixBytes;
  EXPECT_EQ(ERChunk::chunkOf(before(object))->getPool(), &ERGlobalMemPool(2));
  delete object;
  SixBytes* other = new (7) SixBytes;
  EXPECT_EQ(ERChunk::chunkOf(before(other))->getPool(), &ERGlobalMemPool(2));
  delete other;
}

TEST(ERMemoryPoolTest, LargeObjectComesFromTheHeap) {
  LargeObject* object = new LargeObject;
  EXPECT_EQ(headerWord(object), 0u);
  EXPECT_EQ(object->bytes[299], 0);
  delete object;
}

}  // namespace
