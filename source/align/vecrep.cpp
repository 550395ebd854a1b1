// The shared storage block of the vector containers: allocation and growth, copy-on-write cloning, range
// replacement, strided insertion and removal, and the block's binary form.
#include "velmora/vecrep.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <new>

#include "velmora/ercommon.h"
#include "velmora/erfile.h"
#include "velmora/erpool.h"

#define ER_THIS_UNIT "source/align/vecrep"

static_assert(sizeof(ERVecRep) == 16, "the data area starts 16 bytes after the block start");
static_assert(alignof(ERVecRep) <= 8, "the header keeps 8-byte alignment of the data area");

unsigned int ERVecRep::initialCapac = 64;
unsigned int ERVecRep::resizeInc = 64;
unsigned int ERVecRep::freeboard = 64;

// Constant-initialised: containers built during other units' static initialisation find it ready.
alignas(8) ERVecRep ERVecRep::s_emptyBlock(0, 0, 0);
long* ERVecRep::nullref_ = reinterpret_cast<long*>(&ERVecRep::s_emptyBlock);

unsigned int ERVecRep::adjustCapacity(unsigned int n) {
  if (n <= initialCapac) return initialCapac;
  return ((n - initialCapac + resizeInc - 1) / resizeInc) * resizeInc + initialCapac;
}

unsigned int ERVecRep::initialCapacity(unsigned int n) {
  unsigned int previous = initialCapac;
  initialCapac = n;
  return previous;
}

unsigned int ERVecRep::resizeIncrement(unsigned int n) {
  unsigned int previous = resizeInc;
  resizeInc = n;
  return previous;
}

unsigned int ERVecRep::maxWaste(unsigned int n) {
  unsigned int previous = freeboard;
  freeboard = n;
  return previous;
}

ERVecRep* ERVecRep::getRep(unsigned int sizeInByte, int noInit) {
  unsigned int capacity = adjustCapacity(sizeInByte);
  ER_ASSERT_L(capacity >= sizeInByte, "capacity>=sizeInByte", 379);
  if (capacity == 0) std::cerr << "Probl\xE8me allocation 0 : Consulter Tormak France" << std::endl;
  void* memory = ::operator new(sizeof(ERVecRep) + capacity);
  ERVecRep* rep = new (memory) ERVecRep(-1, capacity, sizeInByte);
  // Never zero past the allocation, even after a reported capacity overflow.
  if (!noInit) std::memset(rep->data(), 0, ERMin(sizeInByte, capacity));
  return rep;
}

ERVecRep* ERVecRep::getRep(const void* src, unsigned int sizeInByte) {
  ERVecRep* rep = getRep(sizeInByte, 1);
  rep->initWithVector(src);
  return rep;
}

ERVecRep* ERVecRep::getRep(unsigned int count, unsigned int sizeel, const void* value) {
  ERVecRep* rep = getRep(count * sizeel, 1);
  rep->initWithValue(value, sizeel);
  return rep;
}

namespace {

// The bytes from the current position to the end of the file, at most limit; limit itself when the
// stream cannot be positioned (a pipe).
unsigned int bytesLeft(ERFile& file, unsigned int limit) {
  const long here = file.CurOffset();
  if (here < 0 || !file.SeekToEnd()) return limit;
  const long end = file.CurOffset();
  file.SeekTo(here);
  if (end <= here) return 0;
  return static_cast<unsigned long>(end - here) < limit ? static_cast<unsigned int>(end - here) : limit;
}

}  // namespace

ERVecRep* ERVecRep::getRep(ERFile& file) {
  unsigned int length = 0;
  // Nothing more is read when the prefix is missing (the end-of-file indicator stays as that read left it).
  if (!file.Read(length) || length == 0) return getRep(0u, 1);
  // The length prefix is trusted only as far as the file goes, so that a damaged prefix never allocates
  // what it claims: the block gets the bytes that are there, and the read then fails at the end of the
  // file as reading the claimed length would have (the end-of-file indicator is set).
  const unsigned int available = bytesLeft(file, length);
  ERVecRep* rep = getRep(available, 1);
  if (available != 0) file.Read(rep->data(), available);
  if (available < length) {
    char past;
    file.Read(past);
  }
  return rep;
}

ERVecRep* ERVecRep::duplicate() const { return getRep(data(), m_length); }

void ERVecRep::free() {
  this->~ERVecRep();
  ::operator delete(static_cast<void*>(this));
}

void ERVecRep::saveGuts(ERFile& file) const {
  file.Write(m_length);
  if (m_length != 0) file.Write(static_cast<const char*>(data()), m_length);
}

ERVecRep* ERVecRep::clone(ERVecRep* rep, unsigned int sizeInByte) {
  unsigned int len = rep->length();
  unsigned int keep = ERMin(sizeInByte, len);
  ERVecRep* block = getRep(sizeInByte, 0);
  // The new block keeps the old length whatever was asked: callers reserve room for at least that.
  // Bytes past the request but inside that length are zeroed too, so the block never shows garbage.
  block->setLength(len);
  const unsigned int shown = ERMin(len, block->capacity());
  if (shown > sizeInByte) std::memset(block->data() + sizeInByte, 0, shown - sizeInByte);
  block->addReference();
  if (keep != 0) std::memcpy(block->data(), rep->data(), keep);
  rep->release();
  return block;
}

ERVecRep* ERVecRep::replace(ERVecRep* rep, unsigned int startInByte, unsigned int lenInByte, const void* src,
                            unsigned int srcLenInByte) {
  unsigned int length = rep->length();
  // A start past the end edits at the end rather than outside the block.
  unsigned int start = ERMin(startInByte, length);
  unsigned int removed = ERMin(lenInByte, length - start);
  if (src == nullptr) srcLenInByte = 0;
  unsigned int tot = length - removed + srcLenInByte;
  unsigned int tail = length - removed - start;

  const std::uintptr_t from = reinterpret_cast<std::uintptr_t>(src);
  const std::uintptr_t own = reinterpret_cast<std::uintptr_t>(rep->data());
  const bool srcInside = src != nullptr && from >= own && from < own + length;

  ERVecRep* block = rep;
  if (rep->references() < 2 && rep->capacity() >= tot && rep->capacity() - tot <= freeboard && !srcInside) {
    if (tail != 0) std::memmove(rep->data() + start + srcLenInByte, rep->data() + start + removed, tail);
    if (srcLenInByte != 0) std::memcpy(rep->data() + start, src, srcLenInByte);
    rep->m_length = tot;
  } else {
    block = getRep(tot, 1);
    if (start != 0) std::memcpy(block->data(), rep->data(), start);
    if (srcLenInByte != 0) std::memcpy(block->data() + start, src, srcLenInByte);
    if (tail != 0) std::memcpy(block->data() + start + srcLenInByte, rep->data() + start + removed, tail);
    rep->release();
    block->addReference();
  }
  ER_ASSERT_L(block->length() == tot, "block->length()==tot", 725);
  return block;
}

ERVecRep* ERVecRep::polyInsert(ERVecRep* block, unsigned int start, unsigned int width, unsigned int step) {
  ER_ASSERT_L(block != nullptr, "block", 653);
  if (block == nullptr) return nullptr;
  ER_ASSERT_L(start < block->length(), "start<block->length()", 654);
  const unsigned int initialLength = block->length();
  ER_ASSERT_L(step != 0 && initialLength % step == 0, "initialLength%step == 0", 658);
  if (step == 0) return block;  // no gap count exists: the block stays as it is

  // The gap count covers the whole length, also the part before start.
  const unsigned int newLength = initialLength + width * (initialLength / step);
  ERVecRep* result = getRep(newLength, 1);
  result->addReference();
  const unsigned int head = ERMin(start, initialLength);
  if (head != 0) std::memcpy(result->data(), block->data(), head);
  // Each run of old bytes is preceded by a gap; the copies stay inside the new block even when the old
  // length was not a whole number of steps.
  std::size_t from = head;
  std::size_t to = static_cast<std::size_t>(head) + width;
  while (from < initialLength && to < newLength) {
    std::size_t run = ERMin<std::size_t>(ERMin<std::size_t>(step, initialLength - from), newLength - to);
    std::memcpy(result->data() + to, block->data() + from, run);
    from += step;
    to += static_cast<std::size_t>(step) + width;
  }
  block->release();
  return result;
}

void ERVecRep::polyRemove(unsigned int start, unsigned int width, unsigned int step) {
  ER_ASSERT_L(start < m_length, "start< m_length", 534);
  ER_ASSERT_L(step > width, "step > width", 535);
  // Without a start inside the data and a positive kept part per step there is nothing to move.
  if (start >= m_length || step <= width) return;

  const std::ptrdiff_t length = m_length;
  std::size_t runs = (m_length - start) / step;
  if ((m_length - start) % step >= width) ++runs;

  // Cursors are offsets from the start of the data. The upper bound is the byte length multiplied by the
  // width, not the byte length: that is how the bound is defined and it is kept.
  const std::ptrdiff_t debAbs = 0;
  const std::ptrdiff_t finAbs = length * static_cast<std::ptrdiff_t>(width);
  std::ptrdiff_t dest = start;
  std::ptrdiff_t src = dest + width;
  auto checkCursors = [&](int firstLine) {
    ER_ASSERT_L(dest >= debAbs, "dest >= debAbs", firstLine);
    ER_ASSERT_L(src >= debAbs, "src >= debAbs", firstLine + 1);
    ER_ASSERT_L(dest < finAbs, "dest < finAbs", firstLine + 2);
    ER_ASSERT_L(src < finAbs, "src < finAbs", firstLine + 3);
  };
  checkCursors(551);
  char* bytes = data();
  const std::ptrdiff_t kept = step - width;
  for (std::size_t r = 0; r < runs; ++r) {
    const std::ptrdiff_t remaining = length - src;
    const std::ptrdiff_t n = remaining < kept ? (remaining > 0 ? remaining : 0) : kept;
    for (std::ptrdiff_t k = 0; k < n; ++k) bytes[dest + k] = bytes[src + k];
    dest += kept;
    src += step;
    checkCursors(574);
  }
  m_length -= static_cast<unsigned int>(width * runs);
}

void InitGarbageCol() {}

// Only the pools of the small elements are purged at shut-down.
static const unsigned kPurgedGlobalPools = 24;

void CloseGarbageCol() {
  for (unsigned i = 0; i < kPurgedGlobalPools; ++i) ERGlobalMemPool(i).purge();
}

void HeapDebug() {}
