// Fixed-size memory pools. ERChunk carves one 4096-byte chunk into equal slots; ERMemPool serves one
// element size from a list of chunks, keeping freed elements on a pool-level free list that is given
// back to the chunks in batches (garbage collecting); FastAllocate and FastDeallocate route a request
// of any size to one of the 49 global pools, or to the general heap for larger sizes.
//
// Layout on a 64-bit platform. A chunk is two pieces: the ERChunk object, allocated on its own, which
// keeps all the bookkeeping (sizes, counters, the next/previous chunk links, the chunk's free list and
// its pool), and its 4096-byte block, allocated on a 4096-byte boundary and zero-filled. The block
// begins with a 32-byte header whose first 8 bytes point back to the ERChunk; slot k starts at byte
// 32 + k*(elementSize + 4) of the block, so the capacity is 4064 / (elementSize + 4) as on any
// platform. The first 4 bytes of a slot hold the chunk word: the slot's byte offset within the block,
// never 0 since the slots start after the header. An element finds its chunk by masking its own
// address down to the 4096-byte boundary and following the back pointer; the chunk word then
// validates the slot (the block it names must be the block the address lies in). This keeps the
// visible figures of a 32-bit pool (4096-byte chunks, 4-byte header word before every element,
// 4-byte alignment, the capacities) while 64-bit addresses live in the ERChunk object.
//
// Free lists. A slot returned to its chunk is linked through its element's first 4 bytes, which hold
// the byte offset of the next returned element in the same block (0 ends the list). An element on
// its pool's free list may belong to any chunk, and a 64-bit link does not fit in a 4-byte element:
// while it waits there, the link uses the slot's chunk word and the element's first word together,
// and the chunk word is written back when the element leaves the list.
//
// Pooled memory is aligned on ER_BYTE_ALIGN (4) bytes only: nothing that needs more (a double, a
// pointer read in place) may be stored at a pooled address. Not thread-safe.
#ifndef VELMORA_ERPOOL_H
#define VELMORA_ERPOOL_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>

// Every element address handed out is a multiple of this.
constexpr unsigned ER_BYTE_ALIGN = 4;
// Bytes of one chunk, of its header, and of the chunk word before each element.
constexpr unsigned ER_CHUNK_SIZE = 4096;
constexpr unsigned ER_CHUNK_HEADER_SIZE = 32;
constexpr unsigned ER_CHUNK_WORD_SIZE = 4;
// Number of global pools; pool i serves elements of 4*(i+1) bytes.
constexpr unsigned ER_GLOBAL_POOL_COUNT = 49;

// Verbosity of the pool operations: above 0, collation and purge write progress to standard error.
extern int debug_MemPool;

class ERMemPool;

// One 4096-byte chunk carved into capacity slots of elementSize + 4 bytes. The last slot is never
// handed out: a chunk serves capacity - 1 elements. Elements are handed out fresh, in slot order,
// until that limit, and after that only from the chunk's own free list.
class ERChunk {
 public:
  // Takes a zero-filled block, links in front of next (whose previous becomes this chunk).
  ERChunk(unsigned elementSize, ERChunk* next, ERMemPool* pool);
  ~ERChunk();  // gives the block back; elements still handed out become invalid
  ERChunk(const ERChunk&) = delete;
  ERChunk& operator=(const ERChunk&) = delete;

  // An element of this chunk, or null when the chunk is full.
  void* GetNextFreeItem();
  // Returns element p to this chunk; the result is the number of elements still handed out
  // (0: the chunk is empty).
  unsigned FreeItem(void* p);
  // True when p lies at or after the first slot and before the end of the last slot.
  bool IsInBound(const void* p) const;
  // Labelled fields, one a line, on standard output or on os.
  void dump() const;
  void dump(std::ostream& os) const;

  unsigned getElementSize() const { return elementSize; }
  unsigned getCapacity() const { return capacity; }
  unsigned getLastIndex() const { return lastIndex; }
  unsigned getUsed() const { return used; }
  ERChunk* getNext() const { return next; }
  ERChunk* getPrevious() const { return previous; }
  ERMemPool* getPool() const { return pool; }
  const void* getBlock() const { return block; }

  // The chunk of a pooled element, found from the element's address alone.
  static ERChunk* chunkOf(const void* element);
  // The chunk word of a pooled element: the byte offset of its slot within its block (never 0).
  static uint32_t chunkWord(const void* element);
  // The chunk that word names for element: chunkOf(element) when word is that element's chunk word,
  // null otherwise.
  static ERChunk* chunkNamedBy(const void* element, uint32_t word);

 private:
  friend class ERMemPool;

  uint32_t elementSize;
  uint32_t capacity;
  uint32_t lastIndex;  // the next fresh slot
  uint32_t used;       // elements handed out and not returned to this chunk
  ERChunk* next;       // older chunk of the pool
  ERChunk* previous;   // newer chunk of the pool
  void* freeList;      // first element returned to this chunk, or null
  ERMemPool* pool;
  unsigned char* block;
};

// A pool of elements of one size. The k-th pool constructed in the process serves 4*k bytes: the 49
// global pools are constructed first, at load, so a pool made later serves 200, 204, ... bytes.
// Freed elements wait on the pool's free list, which is given back to the chunks when it grows past
// maxFree (1024 by default; 0 gives elements back at once, 0xFFFFFFFF never collates). A chunk that
// gets all its elements back is released. Only the newest chunk serves fresh slots.
class ERMemPool {
 public:
  static constexpr unsigned defaultMaxFree = 1024;
  static constexpr unsigned noCollation = 0xFFFFFFFFu;

  ERMemPool();
  ~ERMemPool();  // releases every chunk, silently
  ERMemPool(const ERMemPool&) = delete;
  ERMemPool& operator=(const ERMemPool&) = delete;

  void* alloc();
  void free(void* p);  // a null p is ignored
  // Gives every element of the pool's free list back to its chunk, releasing chunks that empty.
  void collateFreeSpace();
  // Releases every chunk; every element of the pool becomes invalid.
  void purge();

  int elementSize() const { return static_cast<int>(elementSize_); }
  unsigned getMaxFree() const { return maxFree; }
  void setMaxFree(unsigned n) { maxFree = n; }
  unsigned getNFree() const { return nFree; }  // length of the pool's free list
  ERChunk* getHeadChunk() const { return m_pHeadChunk; }
  unsigned chunkCount() const;

 private:
  void unbindChunk(ERChunk* chunk);
  void releaseChunks();
  // Gives p back to its chunk and releases the chunk when it empties; true when it did.
  bool returnToChunk(void* p);

  ERChunk* m_pHeadChunk;
  unsigned elementSize_;
  unsigned maxFree;
  unsigned nFree;
  void* freeList;
};

// Global pool i (0 to 48), serving 4*(i+1) bytes.
ERMemPool& ERGlobalMemPool(unsigned i);

// size*count bytes preceded by a 4-byte header word: from global pool n = (size*count + 4) / 4 when
// n < 49 (the header then holds the chunk word), otherwise from the general heap (header 0).
void* FastAllocate(unsigned size, int count);
// Gives back a block of FastAllocate or of ERMemoryPool's operators; a null p is ignored.
void FastDeallocate(void* p);

// Base of pooled classes: its class-level operators take objects from the pools. Objects are
// aligned on 4 bytes only.
class ERMemoryPool {
 public:
  // An object from pool, which must serve at least size + 4 bytes; its bytes start as 0xEF.
  static void* operator new(std::size_t size, ERMemPool& pool);
  // An object routed by size through FastAllocate; the int is ignored.
  static void* operator new(std::size_t size, int);
  static void* operator new(std::size_t size);
  static void operator delete(void* p, std::size_t size);
  // Called only when a constructor throws after a placement new.
  static void operator delete(void* p, ERMemPool& pool);
  static void operator delete(void* p, int);
};

#endif
