// The shared storage block: header layout, growth rule, counting, the bulk byte edits (clone, replace,
// strided insertion and removal) and the binary form, with every report of the unit.
#include "velmora/vecrep.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "test_support.h"
#include "vec_file_support.h"
#include "velmora/erfile.h"
#include "velmora/erpool.h"

// Replacing the global allocation functions lets the tests see when a given block is given back.
namespace {
const void* g_watched = nullptr;
int g_watchedFrees = 0;
void giveBack(void* p) {
  if (p != nullptr && p == g_watched) ++g_watchedFrees;
  std::free(p);
}
}  // namespace

void* operator new(std::size_t n) {
  void* p = std::malloc(n == 0 ? 1 : n);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void operator delete(void* p) noexcept { giveBack(p); }
void operator delete(void* p, std::size_t) noexcept { giveBack(p); }

// The unit's private growth settings, reached through the friend declaration of the block.
class ERVecRepTestAccess {
 public:
  static unsigned adjustCapacity(unsigned n) { return ERVecRep::adjustCapacity(n); }
  static unsigned initialCapacity(unsigned n) { return ERVecRep::initialCapacity(n); }
  static unsigned resizeIncrement(unsigned n) { return ERVecRep::resizeIncrement(n); }
  static unsigned maxWaste(unsigned n) { return ERVecRep::maxWaste(n); }
};

namespace {

using vtest::Bytes;
using Access = ERVecRepTestAccess;
const char kUnit[] = "source/align/vecrep";
const char kInline[] = "velmora/vecrep";

void watch(const void* p) {
  g_watched = p;
  g_watchedFrees = 0;
}

Bytes bytesOf(const ERVecRep* rep, unsigned from, unsigned to) {
  return Bytes(rep->data() + from, rep->data() + to);
}
Bytes bytesOf(const ERVecRep* rep) { return bytesOf(rep, 0, rep->length()); }

// n bytes counting up from first.
Bytes ramp(unsigned n, unsigned char first = 1) {
  Bytes b(n);
  for (unsigned i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(first + i);
  return b;
}

// A block with the given bytes and one owner.
ERVecRep* owned(const Bytes& bytes) {
  ERVecRep* rep = ERVecRep::getRep(bytes.data(), static_cast<unsigned>(bytes.size()));
  rep->addReference();
  return rep;
}

Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}
Bytes slice(const Bytes& b, unsigned from, unsigned to) { return Bytes(b.begin() + from, b.begin() + to); }

// Restores the growth settings whatever a test changed.
class VecRepSettingsTest : public ::testing::Test {
 protected:
  void TearDown() override {
    Access::initialCapacity(64);
    Access::resizeIncrement(64);
    Access::maxWaste(64);
  }
};

// ---------------------------------------------------------------------------------------------
// Layout, growth, counting

TEST(VecRepTest, HeaderIsFourWordsAndDataStartsSixteenBytesIn) {
  ERVecRep* rep = ERVecRep::getRep(24, 0);
  const char* start = reinterpret_cast<const char*>(rep);
  EXPECT_EQ(rep->data() - start, 16);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(rep->data()) % 8, 0u);
  int32_t count;
  uint32_t capacity, length;
  std::memcpy(&count, start, 4);
  std::memcpy(&capacity, start + 4, 4);
  std::memcpy(&length, start + 8, 4);
  EXPECT_EQ(count, -1);
  EXPECT_EQ(capacity, 64u);
  EXPECT_EQ(length, 24u);
  rep->free();
}

TEST(VecRepTest, GetRepZeroFillsBlockOfRequestedLength) {
  ERVecRep* rep = ERVecRep::getRep(24, 0);
  EXPECT_EQ(rep->length(), 24u);
  EXPECT_EQ(rep->capacity(), 64u);
  EXPECT_EQ(rep->references(), 0);  // count -1: nobody has taken it
  EXPECT_EQ(bytesOf(rep), Bytes(24, 0));
  rep->free();
}

TEST(VecRepTest, AdjustCapacityGivesAtLeastSixtyFourInSixtyFourByteSteps) {
  EXPECT_EQ(Access::adjustCapacity(0), 64u);
  EXPECT_EQ(Access::adjustCapacity(1), 64u);
  EXPECT_EQ(Access::adjustCapacity(64), 64u);
  EXPECT_EQ(Access::adjustCapacity(65), 128u);
  EXPECT_EQ(Access::adjustCapacity(128), 128u);
  EXPECT_EQ(Access::adjustCapacity(129), 192u);
}

TEST(VecRepTest, EmptyRequestStillTakesSixtyFourBytes) {
  ERVecRep* rep = ERVecRep::getRep(0u, 0);
  EXPECT_EQ(rep->length(), 0u);
  EXPECT_EQ(rep->capacity(), 64u);
  rep->free();
}

TEST(VecRepTest, CapacityAboveInitialFollowsGrowthRule) {
  ERVecRep* rep = ERVecRep::getRep(129u, 1);
  EXPECT_EQ(rep->length(), 129u);
  EXPECT_EQ(rep->capacity(), 192u);
  rep->free();
}

TEST(VecRepTest, GetRepFromBytesCopiesThem) {
  Bytes src = ramp(40);
  ERVecRep* rep = ERVecRep::getRep(src.data(), 40u);
  EXPECT_EQ(rep->length(), 40u);
  EXPECT_EQ(rep->references(), 0);
  EXPECT_EQ(bytesOf(rep), src);
  rep->free();
}

TEST(VecRepTest, GetRepFromValueRepeatsTheElement) {
  const double value = 2.5;
  ERVecRep* rep = ERVecRep::getRep(3u, 8u, &value);
  ASSERT_EQ(rep->length(), 24u);
  const double* d = reinterpret_cast<const double*>(rep->data());
  EXPECT_EQ(d[0], 2.5);
  EXPECT_EQ(d[1], 2.5);
  EXPECT_EQ(d[2], 2.5);
  rep->free();
}

TEST(VecRepTest, DuplicateCopiesDataIntoAnUntakenBlock) {
  ERVecRep* rep = owned(ramp(30));
  ERVecRep* copy = rep->duplicate();
  EXPECT_NE(copy, rep);
  EXPECT_EQ(copy->references(), 0);
  EXPECT_EQ(copy->length(), 30u);
  EXPECT_EQ(bytesOf(copy), ramp(30));
  copy->free();
  rep->release();
}

TEST(VecRepTest, LastReleaseFreesTheBlock) {
  ERVecRep* rep = ERVecRep::getRep(8u, 0);
  watch(rep);
  rep->addReference();
  rep->addReference();
  EXPECT_EQ(rep->references(), 2);
  rep->release();
  EXPECT_EQ(rep->references(), 1);
  EXPECT_EQ(g_watchedFrees, 0);
  rep->release();
  EXPECT_EQ(g_watchedFrees, 1);
  watch(nullptr);
}

TEST(VecRepTest, SharedEmptyBlockIsEmptyAndAlwaysOwned) {
  const ERVecRep* empty = reinterpret_cast<const ERVecRep*>(ERVecRep::nullref_);
  EXPECT_EQ(empty->capacity(), 0u);
  EXPECT_EQ(empty->length(), 0u);
  EXPECT_GE(empty->references(), 1);
  EXPECT_EQ(empty->data() - reinterpret_cast<const char*>(empty), 16);
}

TEST_F(VecRepSettingsTest, SettersStoreNewValueAndReturnPrevious) {
  EXPECT_EQ(Access::initialCapacity(32), 64u);
  EXPECT_EQ(Access::resizeIncrement(16), 64u);
  EXPECT_EQ(Access::maxWaste(8), 64u);
  EXPECT_EQ(Access::adjustCapacity(10), 32u);
  EXPECT_EQ(Access::adjustCapacity(33), 48u);
  EXPECT_EQ(Access::initialCapacity(64), 32u);
  EXPECT_EQ(Access::resizeIncrement(64), 16u);
  EXPECT_EQ(Access::maxWaste(64), 8u);
}

TEST_F(VecRepSettingsTest, ZeroCapacityWritesAllocationProblemLine) {
  Access::initialCapacity(0);
  ERVecRep* rep = nullptr;
  std::string err = vtest::captureStderr([&] { rep = ERVecRep::getRep(0u, 0); });
  EXPECT_EQ(err, "Probl\xE8me allocation 0 : Consulter Tormak France\n");
  ASSERT_NE(rep, nullptr);
  EXPECT_EQ(rep->capacity(), 0u);
  EXPECT_EQ(rep->length(), 0u);
  rep->free();
}

TEST_F(VecRepSettingsTest, CapacityOverflowReports) {
  // With a 2^31 step the rounding of a length just above 2^31 wraps to a capacity of 64.
  Access::resizeIncrement(0x80000000u);
  const unsigned huge = 0x80000041u;
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(ERVecRep::getRep(huge, 1), vtest::reportRegex("capacity>=sizeInByte", kUnit, 379));
  } else {
    ERVecRep* rep = nullptr;
    std::string err = vtest::captureStderr([&] { rep = ERVecRep::getRep(huge, 1); });
    EXPECT_EQ(err, vtest::report("capacity>=sizeInByte", kUnit, 379));
    ASSERT_NE(rep, nullptr);
    EXPECT_EQ(rep->capacity(), 64u);  // the block is made anyway, with the wrapped capacity
    EXPECT_EQ(rep->length(), huge);
    rep->free();
  }
}

// ---------------------------------------------------------------------------------------------
// In-line edits: setLength, init

TEST(VecRepTest, SetLengthWithinCapacity) {
  ERVecRep* rep = ERVecRep::getRep(8u, 0);
  rep->setLength(64);
  EXPECT_EQ(rep->length(), 64u);
  rep->setLength(0);
  EXPECT_EQ(rep->length(), 0u);
  rep->free();
}

TEST(VecRepTest, SetLengthBeyondCapacityReports) {
  ERVecRep* rep = ERVecRep::getRep(8u, 0);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(rep->setLength(65), vtest::reportRegex("newLengthInByte<=m_capacity", kInline, 28));
  } else {
    std::string err = vtest::captureStderr([&] { rep->setLength(65); });
    EXPECT_EQ(err, vtest::report("newLengthInByte<=m_capacity", kInline, 28));
    EXPECT_EQ(rep->length(), 65u);  // set anyway
  }
  rep->free();
}

TEST(VecRepTest, InitCopiesBytesAtOffset) {
  ERVecRep* rep = ERVecRep::getRep(16u, 0);
  Bytes src = ramp(8, 10);
  rep->init(src.data(), 4, 8);
  EXPECT_EQ(bytesOf(rep), concat({Bytes(4, 0), src, Bytes(4, 0)}));
  rep->free();
}

TEST(VecRepTest, InitChecksLengthAgainstWholeBlockNotRemainder) {
  // 16 bytes at 16 in a 24-byte block: past the end, but not longer than the whole block.
  ERVecRep* rep = ERVecRep::getRep(24u, 0);
  Bytes src = ramp(16);
  std::string err = vtest::captureStderr([&] { rep->init(src.data(), 16, 16); });
  EXPECT_EQ(err, "");
  EXPECT_EQ(bytesOf(rep, 16, 32), src);  // within the 64-byte capacity
  rep->free();
}

TEST(VecRepTest, InitLongerThanBlockReports) {
  ERVecRep* rep = ERVecRep::getRep(24u, 0);
  Bytes src = ramp(32);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(rep->init(src.data(), 0, 32), vtest::reportRegex("lengthInByte<=m_length", kInline, 62));
  } else {
    std::string err = vtest::captureStderr([&] { rep->init(src.data(), 0, 32); });
    EXPECT_EQ(err, vtest::report("lengthInByte<=m_length", kInline, 62));
    EXPECT_EQ(bytesOf(rep, 0, 32), src);  // copied anyway
  }
  rep->free();
}

TEST(VecRepTest, InitAtUnalignedStartReports) {
  ERVecRep* rep = ERVecRep::getRep(24u, 0);
  Bytes src = ramp(4);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(rep->init(src.data(), 2, 4), vtest::reportRegex("startInByte%4==0", kInline, 63));
  } else {
    std::string err = vtest::captureStderr([&] { rep->init(src.data(), 2, 4); });
    EXPECT_EQ(err, vtest::report("startInByte%4==0", kInline, 63));
    EXPECT_EQ(bytesOf(rep, 2, 6), src);
  }
  rep->free();
}

// ---------------------------------------------------------------------------------------------
// clone

TEST(VecRepTest, CloneReservesKeepsLengthZeroFillsAndFreesSoleOwner) {
  Bytes old = ramp(40);
  ERVecRep* rep = owned(old);
  watch(rep);
  ERVecRep* block = ERVecRep::clone(rep, 128);
  EXPECT_EQ(g_watchedFrees, 1);
  watch(nullptr);
  EXPECT_EQ(block->length(), 40u);
  EXPECT_EQ(block->capacity(), 128u);
  EXPECT_EQ(block->references(), 1);
  EXPECT_EQ(bytesOf(block), old);
  EXPECT_EQ(bytesOf(block, 40, 128), Bytes(88, 0));
  block->release();
}

TEST(VecRepTest, CloneToFewerBytesKeepsOldLengthButCopiesOnlyThoseBytes) {
  Bytes old = ramp(40);
  ERVecRep* rep = owned(old);
  ERVecRep* block = ERVecRep::clone(rep, 16);
  EXPECT_EQ(block->length(), 40u);
  EXPECT_EQ(block->capacity(), 64u);
  EXPECT_EQ(bytesOf(block), concat({slice(old, 0, 16), Bytes(24, 0)}));
  block->release();
}

TEST(VecRepTest, CloneOfSharedBlockLeavesItToTheOtherOwner) {
  ERVecRep* rep = owned(ramp(24));
  rep->addReference();
  watch(rep);
  ERVecRep* block = ERVecRep::clone(rep, 64);
  EXPECT_EQ(g_watchedFrees, 0);
  watch(nullptr);
  EXPECT_EQ(rep->references(), 1);
  EXPECT_EQ(bytesOf(rep), ramp(24));
  EXPECT_EQ(bytesOf(block), ramp(24));
  block->release();
  rep->release();
}

// ---------------------------------------------------------------------------------------------
// replace

TEST(VecRepTest, ReplaceEditsSoleOwnerInPlace) {
  ERVecRep* rep = ERVecRep::getRep(100u, 0);
  rep->addReference();
  ASSERT_EQ(rep->capacity(), 128u);
  Bytes src = ramp(10, 50);
  ERVecRep* block = ERVecRep::replace(rep, 0, 10, src.data(), 10);
  EXPECT_EQ(block, rep);
  EXPECT_EQ(block->length(), 100u);
  EXPECT_EQ(bytesOf(block), concat({src, Bytes(90, 0)}));
  block->release();
}

TEST(VecRepTest, ReplaceLeavingTooMuchSpareRoomReallocates) {
  Bytes old = ramp(100);
  ERVecRep* rep = owned(old);
  ASSERT_EQ(rep->capacity(), 128u);
  Bytes src = ramp(10, 200);
  watch(rep);
  // 70 bytes become 10: the new length 40 would leave 88 > 64 spare bytes.
  ERVecRep* block = ERVecRep::replace(rep, 0, 70, src.data(), 10);
  EXPECT_EQ(g_watchedFrees, 1);
  watch(nullptr);
  EXPECT_NE(block, rep);
  EXPECT_EQ(block->length(), 40u);
  EXPECT_EQ(block->capacity(), 64u);
  EXPECT_EQ(block->references(), 1);
  EXPECT_EQ(bytesOf(block), concat({src, slice(old, 70, 100)}));
  block->release();
}

TEST(VecRepTest, ReplaceFromOwnDataAlwaysReallocates) {
  Bytes old = ramp(100);
  ERVecRep* rep = owned(old);
  ERVecRep* block = ERVecRep::replace(rep, 0, 10, rep->data() + 50, 10);
  EXPECT_NE(block, rep);
  EXPECT_EQ(bytesOf(block), concat({slice(old, 50, 60), slice(old, 10, 100)}));
  block->release();
}

TEST(VecRepTest, ReplaceOnSharedBlockLeavesOtherOwnerUntouched) {
  Bytes old = ramp(32);
  ERVecRep* rep = owned(old);
  rep->addReference();
  Bytes src = ramp(4, 100);
  ERVecRep* block = ERVecRep::replace(rep, 8, 4, src.data(), 4);
  EXPECT_NE(block, rep);
  EXPECT_EQ(rep->references(), 1);
  EXPECT_EQ(bytesOf(rep), old);
  EXPECT_EQ(bytesOf(block), concat({slice(old, 0, 8), src, slice(old, 12, 32)}));
  block->release();
  rep->release();
}

TEST(VecRepTest, ReplaceGrowingPastCapacityReallocates) {
  Bytes old = ramp(60);
  ERVecRep* rep = owned(old);
  Bytes src = ramp(20, 100);
  ERVecRep* block = ERVecRep::replace(rep, 60, 0, src.data(), 20);
  EXPECT_NE(block, rep);
  EXPECT_EQ(block->length(), 80u);
  EXPECT_EQ(block->capacity(), 128u);
  EXPECT_EQ(bytesOf(block), concat({old, src}));
  block->release();
}

TEST(VecRepTest, ReplaceWithNullSourceRemoves) {
  Bytes old = ramp(40);
  ERVecRep* rep = owned(old);
  ERVecRep* block = ERVecRep::replace(rep, 8, 16, nullptr, 99);
  EXPECT_EQ(block, rep);  // 40 - 16 = 24: 40 spare bytes, within the freeboard
  EXPECT_EQ(bytesOf(block), concat({slice(old, 0, 8), slice(old, 24, 40)}));
  block->release();
}

TEST(VecRepTest, ReplaceRemovesNoMoreThanTheTail) {
  Bytes old = ramp(40);
  ERVecRep* rep = owned(old);
  Bytes src = ramp(4, 100);
  ERVecRep* block = ERVecRep::replace(rep, 32, 100, src.data(), 4);
  EXPECT_EQ(bytesOf(block), concat({slice(old, 0, 32), src}));
  block->release();
}

TEST(VecRepTest, ReplaceStartingPastTheEndEditsAtTheEnd) {
  Bytes old = ramp(16);
  ERVecRep* rep = owned(old);
  Bytes src = ramp(4, 100);
  ERVecRep* block = ERVecRep::replace(rep, 30, 2, src.data(), 4);
  EXPECT_EQ(bytesOf(block), concat({old, src}));
  block->release();
}

TEST_F(VecRepSettingsTest, LargerFreeboardKeepsTheEditInPlace) {
  Access::maxWaste(100);
  ERVecRep* rep = owned(ramp(100));
  Bytes src = ramp(10, 200);
  ERVecRep* block = ERVecRep::replace(rep, 0, 70, src.data(), 10);
  EXPECT_EQ(block, rep);
  EXPECT_EQ(block->length(), 40u);
  block->release();
}

// ---------------------------------------------------------------------------------------------
// polyInsert

TEST(VecRepTest, PolyInsertOneGapBeforeWholeStep) {
  Bytes old = ramp(24);
  ERVecRep* rep = owned(old);
  watch(rep);
  ERVecRep* block = ERVecRep::polyInsert(rep, 0, 8, 24);
  EXPECT_EQ(g_watchedFrees, 1);
  watch(nullptr);
  EXPECT_EQ(block->length(), 32u);
  EXPECT_EQ(block->references(), 1);
  EXPECT_EQ(bytesOf(block, 8, 32), old);
  block->release();
}

TEST(VecRepTest, PolyInsertGapBeforeEveryElement) {
  Bytes old = ramp(24);
  ERVecRep* rep = owned(old);
  ERVecRep* block = ERVecRep::polyInsert(rep, 0, 8, 8);
  ASSERT_EQ(block->length(), 48u);
  EXPECT_EQ(bytesOf(block, 8, 16), slice(old, 0, 8));
  EXPECT_EQ(bytesOf(block, 24, 32), slice(old, 8, 16));
  EXPECT_EQ(bytesOf(block, 40, 48), slice(old, 16, 24));
  block->release();
}

TEST(VecRepTest, PolyInsertCopiesHeadAndCountsGapsOverWholeLength) {
  Bytes old = ramp(32);
  ERVecRep* rep = owned(old);
  ERVecRep* block = ERVecRep::polyInsert(rep, 8, 4, 16);
  ASSERT_EQ(block->length(), 40u);  // 32 / 16 = 2 gaps, although only 24 bytes follow the start
  EXPECT_EQ(bytesOf(block, 0, 8), slice(old, 0, 8));
  EXPECT_EQ(bytesOf(block, 12, 28), slice(old, 8, 24));
  EXPECT_EQ(bytesOf(block, 32, 40), slice(old, 24, 32));
  block->release();
}

TEST(VecRepTest, PolyInsertOnSharedBlockLeavesOtherOwnerUntouched) {
  Bytes old = ramp(16);
  ERVecRep* rep = owned(old);
  rep->addReference();
  ERVecRep* block = ERVecRep::polyInsert(rep, 0, 8, 16);
  EXPECT_EQ(rep->references(), 1);
  EXPECT_EQ(bytesOf(rep), old);
  EXPECT_EQ(bytesOf(block, 8, 24), old);
  block->release();
  rep->release();
}

TEST(VecRepTest, PolyInsertOnNullBlockReports) {
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(ERVecRep::polyInsert(nullptr, 0, 8, 8), vtest::reportRegex("block", kUnit, 653));
  } else {
    ERVecRep* block = reinterpret_cast<ERVecRep*>(1);
    std::string err = vtest::captureStderr([&] { block = ERVecRep::polyInsert(nullptr, 0, 8, 8); });
    EXPECT_EQ(err, vtest::report("block", kUnit, 653));
    EXPECT_EQ(block, nullptr);  // nothing to insert into
  }
}

TEST(VecRepTest, PolyInsertAtEndReports) {
  Bytes old = ramp(16);
  ERVecRep* rep = owned(old);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(ERVecRep::polyInsert(rep, 16, 8, 8),
                 vtest::reportRegex("start<block->length()", kUnit, 654));
    rep->release();
  } else {
    ERVecRep* block = nullptr;
    std::string err = vtest::captureStderr([&] { block = ERVecRep::polyInsert(rep, 16, 8, 8); });
    EXPECT_EQ(err, vtest::report("start<block->length()", kUnit, 654));
    ASSERT_EQ(block->length(), 32u);  // the whole old data is head; the two gaps follow it
    EXPECT_EQ(bytesOf(block, 0, 16), old);
    block->release();
  }
}

TEST(VecRepTest, PolyInsertOnPartialStepReports) {
  Bytes old = ramp(24);
  ERVecRep* rep = owned(old);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(ERVecRep::polyInsert(rep, 0, 8, 16),
                 vtest::reportRegex("initialLength%step == 0", kUnit, 658));
    rep->release();
  } else {
    ERVecRep* block = nullptr;
    std::string err = vtest::captureStderr([&] { block = ERVecRep::polyInsert(rep, 0, 8, 16); });
    EXPECT_EQ(err, vtest::report("initialLength%step == 0", kUnit, 658));
    // One gap for 24 / 16; the copies stop at the end of the new block.
    ASSERT_EQ(block->length(), 32u);
    EXPECT_EQ(bytesOf(block, 8, 24), slice(old, 0, 16));
    block->release();
  }
}

// ---------------------------------------------------------------------------------------------
// polyRemove

TEST(VecRepTest, PolyRemoveWidthOutOfEveryStep) {
  Bytes old = ramp(48);
  ERVecRep* rep = owned(old);
  rep->polyRemove(0, 8, 24);
  EXPECT_EQ(rep->length(), 32u);
  EXPECT_EQ(bytesOf(rep), concat({slice(old, 8, 24), slice(old, 32, 48)}));
  rep->release();
}

TEST(VecRepTest, PolyRemoveFromInsideTheStepMovesTheLastTail) {
  // Three rows of three doubles; the middle column goes.
  Bytes old = ramp(72);
  ERVecRep* rep = owned(old);
  rep->polyRemove(8, 8, 24);
  ASSERT_EQ(rep->length(), 48u);
  EXPECT_EQ(bytesOf(rep),
            concat({slice(old, 0, 8), slice(old, 16, 32), slice(old, 40, 56), slice(old, 64, 72)}));
  rep->release();
}

TEST(VecRepTest, PolyRemoveBoundIsLengthTimesWidth) {
  // Byte-wide removal: the bound is then the byte length itself, and the source cursor passes it after
  // the last run. The removal is done all the same.
  Bytes old = ramp(4);
  ERVecRep* rep = owned(old);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(rep->polyRemove(0, 1, 2), vtest::reportRegex("src < finAbs", kUnit, 577));
  } else {
    std::string err = vtest::captureStderr([&] { rep->polyRemove(0, 1, 2); });
    EXPECT_EQ(err, vtest::report("src < finAbs", kUnit, 577));
    EXPECT_EQ(bytesOf(rep), Bytes({old[1], old[3]}));
  }
  rep->release();
}

TEST(VecRepTest, PolyRemoveOfZeroWidthReportsCursorsPastBound) {
  Bytes old = ramp(16);
  ERVecRep* rep = owned(old);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(rep->polyRemove(0, 0, 8), vtest::reportRegex("dest < finAbs", kUnit, 553));
  } else {
    std::string err = vtest::captureStderr([&] { rep->polyRemove(0, 0, 8); });
    EXPECT_TRUE(vtest::contains(err, vtest::report("dest < finAbs", kUnit, 553)));
    EXPECT_TRUE(vtest::contains(err, vtest::report("src < finAbs", kUnit, 554)));
    EXPECT_TRUE(vtest::contains(err, vtest::report("dest < finAbs", kUnit, 576)));
    EXPECT_TRUE(vtest::contains(err, vtest::report("src < finAbs", kUnit, 577)));
    EXPECT_EQ(bytesOf(rep), old);  // nothing removed
  }
  rep->release();
}

TEST(VecRepTest, PolyRemoveSourceCursorPastBoundBeforeLoopReports) {
  // Byte-wide removal starting at the last byte: the source cursor starts at the bound.
  Bytes old = ramp(4);
  ERVecRep* rep = owned(old);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(rep->polyRemove(3, 1, 2), vtest::reportRegex("src < finAbs", kUnit, 554));
  } else {
    std::string err = vtest::captureStderr([&] { rep->polyRemove(3, 1, 2); });
    EXPECT_TRUE(vtest::contains(err, vtest::report("src < finAbs", kUnit, 554)));
    EXPECT_EQ(bytesOf(rep), slice(old, 0, 3));
  }
  rep->release();
}

TEST(VecRepTest, PolyRemoveStartAtEndReports) {
  Bytes old = ramp(16);
  ERVecRep* rep = owned(old);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(rep->polyRemove(16, 8, 16), vtest::reportRegex("start< m_length", kUnit, 534));
  } else {
    std::string err = vtest::captureStderr([&] { rep->polyRemove(16, 8, 16); });
    EXPECT_EQ(err, vtest::report("start< m_length", kUnit, 534));
    EXPECT_EQ(bytesOf(rep), old);  // nothing to remove there
  }
  rep->release();
}

TEST(VecRepTest, PolyRemoveStepNotAboveWidthReports) {
  Bytes old = ramp(16);
  ERVecRep* rep = owned(old);
  if (VELMORA_CHECKING_BUILD) {
    EXPECT_DEATH(rep->polyRemove(0, 8, 8), vtest::reportRegex("step > width", kUnit, 535));
  } else {
    std::string err = vtest::captureStderr([&] { rep->polyRemove(0, 8, 8); });
    EXPECT_EQ(err, vtest::report("step > width", kUnit, 535));
    EXPECT_EQ(bytesOf(rep), old);
  }
  rep->release();
}

// ---------------------------------------------------------------------------------------------
// Binary form

TEST(VecRepTest, SaveGutsWritesByteLengthThenRawBytes) {
  vtest::ScratchDir dir;
  const double values[2] = {1.0, 2.0};
  ERVecRep* rep = owned(Bytes(reinterpret_cast<const unsigned char*>(values),
                              reinterpret_cast<const unsigned char*>(values) + 16));
  EXPECT_EQ(rep->binaryStoreSize(), 20ul);
  std::string name = dir.path("rep.bin");
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "wb");
    rep->saveGuts(file);
  });
  Bytes expected{0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0x40};
  EXPECT_EQ(vtest::readBytes(name), expected);
  rep->release();
}

TEST(VecRepTest, EmptyBlockSavesFourZeroBytes) {
  vtest::ScratchDir dir;
  ERVecRep* rep = ERVecRep::getRep(0u, 0);
  EXPECT_EQ(rep->binaryStoreSize(), 4ul);
  std::string name = dir.path("empty.bin");
  vtest::captureStderr([&] {
    ERFile file(name.c_str(), "wb");
    rep->saveGuts(file);
  });
  EXPECT_EQ(vtest::readBytes(name), Bytes(4, 0));
  rep->free();
}

TEST(VecRepTest, GetRepFromFileReadsWhatSaveGutsWrote) {
  vtest::ScratchDir dir;
  Bytes old = ramp(36);
  ERVecRep* rep = owned(old);
  std::string name = dir.path("round.bin");
  ERVecRep* back = nullptr;
  vtest::captureStderr([&] {
    {
      ERFile file(name.c_str(), "wb");
      rep->saveGuts(file);
    }
    ERFile file(name.c_str(), "rb");
    back = ERVecRep::getRep(file);
  });
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->references(), 0);
  EXPECT_EQ(back->length(), 36u);
  EXPECT_EQ(back->capacity(), 64u);
  EXPECT_EQ(bytesOf(back), old);
  back->free();
  rep->release();
}

// ---------------------------------------------------------------------------------------------
// Shut-down

TEST(VecRepTest, CloseGarbageColPurgesOnlyTheFirstTwentyFourGlobalPools) {
  // Pool i serves 4 * (i + 1) bytes: pools 0 and 23 (4 and 96 bytes) are purged, 24 (100 bytes) and
  // 48 are not.
  const unsigned probed[] = {0, 23, 24, 48};
  for (unsigned i : probed) {
    ERGlobalMemPool(i).alloc();
    ASSERT_GT(ERGlobalMemPool(i).chunkCount(), 0u) << "pool " << i;
  }
  CloseGarbageCol();
  EXPECT_EQ(ERGlobalMemPool(0).chunkCount(), 0u);
  EXPECT_EQ(ERGlobalMemPool(23).chunkCount(), 0u);
  EXPECT_GT(ERGlobalMemPool(24).chunkCount(), 0u);
  EXPECT_GT(ERGlobalMemPool(48).chunkCount(), 0u);
  ERGlobalMemPool(24).purge();
  ERGlobalMemPool(48).purge();
}

TEST(VecRepTest, InitGarbageColAndHeapDebugLeaveBlocksAndPoolsAlone) {
  ERVecRep* rep = owned(ramp(8));
  ERGlobalMemPool(0).alloc();
  const unsigned chunks = ERGlobalMemPool(0).chunkCount();
  std::string out = vtest::captureStderr([] {
    InitGarbageCol();
    HeapDebug();
  });
  EXPECT_EQ(out, "");
  EXPECT_EQ(ERGlobalMemPool(0).chunkCount(), chunks);
  EXPECT_EQ(bytesOf(rep), ramp(8));
  ERGlobalMemPool(0).purge();
  rep->release();
}

}  // namespace
