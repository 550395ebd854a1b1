// The reference-counted storage block under every vector and slice: a 16-byte header (count, capacity,
// length, a reserved word) followed by the data area. It knows nothing of element types: sizes, positions
// and lengths are in bytes. Sharing between copies and copying on the first write are the containers'
// business; the block supplies the counting, the growth policy and the bulk byte edits.
#ifndef VELMORA_VECREP_H
#define VELMORA_VECREP_H

#include <cstdint>
#include <cstring>

#include "velmora/ercommon.h"

class ERFile;

// One allocation of 16 + capacity bytes from the global allocation operator; the data area starts 16
// bytes after the block start and is therefore 8-byte aligned. The count is "owners minus one": -1 for a
// block nobody has taken yet, 0 for one owner. Taking a block increments the count; releasing it
// decrements the count and frees the block when the count read was 0 (the last owner left).
class ERVecRep {
 public:
  // The shared empty block: a static header of capacity 0 and length 0 whose count starts at 0 (one
  // permanent owner), so that it is never freed. Every empty container shares it.
  static long* nullref_;

  // A new block of sizeInByte bytes, count -1; the bytes are zeroed unless noInit is non-zero.
  static ERVecRep* getRep(unsigned int sizeInByte, int noInit);
  // A new block holding a copy of the sizeInByte bytes at src.
  static ERVecRep* getRep(const void* src, unsigned int sizeInByte);
  // A block of count elements of sizeel bytes, each a copy of the element at value.
  static ERVecRep* getRep(unsigned int count, unsigned int sizeel, const void* value);
  // Reads an unsigned 32-bit byte length, then that many raw bytes.
  static ERVecRep* getRep(ERFile& file);
  // A new block (count -1) with a copy of this one's data.
  ERVecRep* duplicate() const;

  char* data() const { return const_cast<char*>(reinterpret_cast<const char*>(this + 1)); }
  unsigned int length() const { return m_length; }
  unsigned int capacity() const { return m_capacity; }
  // The number of owners: the count plus one (0 for a block nobody has taken yet).
  int32_t references() const { return m_refs + 1; }

  void addReference() { ++m_refs; }
  // Gives up one ownership; the last owner frees the block, which must not be used afterwards.
  void release() {
    if (m_refs-- == 0) free();
  }

  void setLength(unsigned int newLengthInByte) {
    ER_ASSERT_AT(newLengthInByte <= m_capacity, "newLengthInByte<=m_capacity", "velmora/vecrep", 28);
    m_length = newLengthInByte;
  }
  // Copies lengthInByte bytes from src to data() + startInByte. The length is checked against the whole
  // block length, not against what remains after the start.
  void init(const void* src, unsigned int startInByte, unsigned int lengthInByte) {
    ER_ASSERT_AT(lengthInByte <= m_length, "lengthInByte<=m_length", "velmora/vecrep", 62);
    ER_ASSERT_AT(startInByte % 4 == 0, "startInByte%4==0", "velmora/vecrep", 63);
    if (lengthInByte != 0) std::memcpy(data() + startInByte, src, lengthInByte);
  }

  // The growth step of copy on write: a new zero-filled block of capacity for sizeInByte bytes that
  // keeps rep's length and as many of its bytes as fit; rep is released and the new block, taken once,
  // is returned.
  static ERVecRep* clone(ERVecRep* rep, unsigned int sizeInByte);
  // Replaces lenInByte bytes at startInByte by srcLenInByte bytes from src (null: none). Edits in place
  // when rep has at most one owner, has room, would keep at most freeboard spare bytes and src is not
  // inside its data; otherwise builds a new block and releases rep. Returns the block now owned.
  static ERVecRep* replace(ERVecRep* rep, unsigned int startInByte, unsigned int lenInByte, const void* src,
                           unsigned int srcLenInByte);
  // Makes room for width bytes after every step bytes from byte start on; the gaps are left for the
  // caller to fill. block is released and the new block, taken once, returned.
  static ERVecRep* polyInsert(ERVecRep* block, unsigned int start, unsigned int width, unsigned int step);
  // Removes width bytes out of every step bytes from byte start on, in place.
  void polyRemove(unsigned int start, unsigned int width, unsigned int step);

  // Returns the block to the global deallocation operator; only release() calls it.
  void free();

  unsigned long binaryStoreSize() const { return static_cast<unsigned long>(m_length) + 4; }
  // The byte length as an unsigned 32-bit value, then the raw bytes; no element size or type.
  void saveGuts(ERFile& file) const;

 private:
  friend class ERVecRepTestAccess;  // lets the unit tests change the growth settings

  constexpr ERVecRep(int32_t refs, uint32_t capacity, uint32_t length)
      : m_refs(refs), m_capacity(capacity), m_length(length), m_reserved(0) {}
  ERVecRep(const ERVecRep&) = delete;
  ERVecRep& operator=(const ERVecRep&) = delete;

  // initialCapac when n is at most initialCapac, otherwise initialCapac plus the smallest multiple of
  // resizeInc that covers n.
  static unsigned int adjustCapacity(unsigned int n);
  // Each stores a new value and returns the previous one.
  static unsigned int initialCapacity(unsigned int n);
  static unsigned int resizeIncrement(unsigned int n);
  static unsigned int maxWaste(unsigned int n);

  void initWithValue(const void* value, unsigned int sizeel) {
    unsigned int i = 0;
    for (; sizeel != 0 && i < m_length / sizeel; ++i) std::memcpy(data() + i * sizeel, value, sizeel);
    ER_ASSERT_AT(i * sizeel <= m_length, "i*sizeel<=m_length", "velmora/vecrep", 19);
  }
  void initWithVector(const void* src) {
    if (m_length != 0) std::memcpy(data(), src, m_length);
  }

  static unsigned int initialCapac;  // smallest capacity handed out, in bytes
  static unsigned int resizeInc;     // growth step above initialCapac, in bytes
  static unsigned int freeboard;     // most spare bytes an in-place replace may leave
  static ERVecRep s_emptyBlock;      // what nullref_ points at

  int32_t m_refs;
  uint32_t m_capacity;
  uint32_t m_length;
  uint32_t m_reserved;  // completes the header to four words: the data area is 8-byte aligned
};

// Module entry points of the host's start-up and shut-down sequence. InitGarbageCol and HeapDebug do
// nothing. CloseGarbageCol purges, in index order, the first 24 of the 49 global pools (elements of 4 to
// 96 bytes), giving their chunks back; the larger pools are deliberately left as they are. Elements
// still handed out by the purged pools become invalid.
void InitGarbageCol();
void CloseGarbageCol();
void HeapDebug();

#endif
