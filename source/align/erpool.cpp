// Fixed-size memory pools: chunks, pools, the 49 global pools and the size-routed allocation.
#include "velmora/erpool.h"

#include <cstring>
#include <iostream>
#include <new>

#include "velmora/ercommon.h"

#define ER_THIS_UNIT "source/align/erpool"

int debug_MemPool = 0;

namespace {

// Pooled addresses are 4-byte aligned only, so every access to a word goes through memcpy.
uint32_t readWord(const void* at) {
  uint32_t word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

void writeWord(void* at, uint32_t word) { std::memcpy(at, &word, sizeof word); }

unsigned char* slotOf(const void* element) {
  return const_cast<unsigned char*>(static_cast<const unsigned char*>(element)) - ER_CHUNK_WORD_SIZE;
}

uintptr_t blockAddressOf(const void* element) {
  return reinterpret_cast<uintptr_t>(slotOf(element)) & ~static_cast<uintptr_t>(ER_CHUNK_SIZE - 1);
}

void checkAlignment(const void* p) {
  ER_ASSERT_T(reinterpret_cast<uintptr_t>(p) % ER_BYTE_ALIGN == 0, "((long)p)%ER_BYTE_ALIGN == 0");
}

constexpr std::align_val_t chunkAlignment{ER_CHUNK_SIZE};

}  // namespace

// ---------------------------------------------------------------------------------------------
// ERChunk

ERChunk::ERChunk(unsigned elementSize_, ERChunk* next_, ERMemPool* pool_)
    : elementSize(elementSize_),
      capacity((ER_CHUNK_SIZE - ER_CHUNK_HEADER_SIZE) / (elementSize_ + ER_CHUNK_WORD_SIZE)),
      lastIndex(0),
      used(0),
      next(next_),
      previous(nullptr),
      freeList(nullptr),
      pool(pool_),
      block(static_cast<unsigned char*>(::operator new(ER_CHUNK_SIZE, chunkAlignment))) {
  std::memset(block, 0, ER_CHUNK_SIZE);
  ERChunk* self = this;
  std::memcpy(block, &self, sizeof self);
  if (next != nullptr) next->previous = this;
}

ERChunk::~ERChunk() { ::operator delete(block, chunkAlignment); }

ERChunk* ERChunk::chunkOf(const void* element) {
  ERChunk* chunk;
  std::memcpy(&chunk, reinterpret_cast<const void*>(blockAddressOf(element)), sizeof chunk);
  return chunk;
}

uint32_t ERChunk::chunkWord(const void* element) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(slotOf(element)) - blockAddressOf(element));
}

ERChunk* ERChunk::chunkNamedBy(const void* element, uint32_t word) {
  return word == chunkWord(element) ? chunkOf(element) : nullptr;
}

bool ERChunk::IsInBound(const void* p) const {
  const uintptr_t address = reinterpret_cast<uintptr_t>(p);
  const uintptr_t first = reinterpret_cast<uintptr_t>(block) + ER_CHUNK_HEADER_SIZE;
  return address >= first && address < first + capacity * (elementSize + ER_CHUNK_WORD_SIZE);
}

void* ERChunk::GetNextFreeItem() {
  if (freeList != nullptr) {
    void* p = freeList;
    ER_ASSERT_T(IsInBound(p), "IsInBound(p)");
    // A corrupt link is not followed outside the block: the list just ends there.
    const uint32_t link = IsInBound(p) ? readWord(p) : 0;
    freeList = link != 0 ? block + link : nullptr;
    ++used;
    return p;
  }
  // The last slot is deliberately never handed out.
  if (lastIndex + 1 != capacity) {
    unsigned char* slot = block + ER_CHUNK_HEADER_SIZE + lastIndex * (elementSize + ER_CHUNK_WORD_SIZE);
    ++lastIndex;
    void* p = slot + ER_CHUNK_WORD_SIZE;
    writeWord(slot, chunkWord(p));
    ++used;
    ER_ASSERT_T(IsInBound(p), "IsInBound(p)");
    checkAlignment(p);
    return p;
  }
  return nullptr;
}

unsigned ERChunk::FreeItem(void* p) {
  const unsigned char* b = slotOf(p);
  ER_ASSERT_T(IsInBound(b), "IsInBound(b)");
  // A block that is not ours is left alone rather than written into.
  if (!IsInBound(b)) return used;
  const uint32_t link = freeList != nullptr ? static_cast<uint32_t>(static_cast<unsigned char*>(freeList) - block) : 0;
  writeWord(p, link);
  freeList = p;
  return --used;
}

void ERChunk::dump() const { dump(std::cout); }

void ERChunk::dump(std::ostream& os) const {
  os << "size of this: " << ER_CHUNK_SIZE << '\n'
     << "size of a element: " << elementSize << '\n'
     << "maximum number of element: " << capacity << '\n'
     << "number of elements: " << used << '\n'
     << "last allocated element index: " << lastIndex << '\n'
     << "next Chunk: " << static_cast<const void*>(next) << '\n'
     << "previous Chunk: " << static_cast<const void*>(previous) << '\n'
     << "BYTE ALIGMENT: " << ER_BYTE_ALIGN << std::endl;
}

// ---------------------------------------------------------------------------------------------
// ERMemPool

namespace {
// Constant-initialised, so it counts from 0 whichever static is constructed first.
unsigned g_poolsConstructed = 0;
}  // namespace

ERMemPool::ERMemPool()
    : m_pHeadChunk(nullptr),
      elementSize_(4 * ++g_poolsConstructed),
      maxFree(defaultMaxFree),
      nFree(0),
      freeList(nullptr) {}

ERMemPool::~ERMemPool() { releaseChunks(); }

unsigned ERMemPool::chunkCount() const {
  unsigned n = 0;
  for (const ERChunk* c = m_pHeadChunk; c != nullptr; c = c->next) ++n;
  return n;
}

void* ERMemPool::alloc() {
  if (freeList != nullptr) {
    // The waiting element's slot holds the 64-bit link in its chunk word and first element word.
    void* p = freeList;
    unsigned char* slot = slotOf(p);
    std::memcpy(&freeList, slot, sizeof freeList);
    writeWord(slot, ERChunk::chunkWord(p));
    --nFree;
    return p;
  }
  if (m_pHeadChunk == nullptr) m_pHeadChunk = new ERChunk(elementSize_, nullptr, this);
  void* p = m_pHeadChunk->GetNextFreeItem();
  if (p != nullptr) {
    checkAlignment(p);
    return p;
  }
  m_pHeadChunk = new ERChunk(elementSize_, m_pHeadChunk, this);
  p = m_pHeadChunk->GetNextFreeItem();
  ER_ASSERT_T(m_pHeadChunk->IsInBound(p), "m_pHeadChunk->IsInBound(p)");
  checkAlignment(p);
  return p;
}

void ERMemPool::free(void* p) {
  if (p == nullptr) return;
  if (maxFree == 0) {
    returnToChunk(p);
    return;
  }
  unsigned char* slot = slotOf(p);
  std::memcpy(slot, &freeList, sizeof freeList);
  freeList = p;
  ++nFree;
  if (maxFree != noCollation && nFree > maxFree) collateFreeSpace();
}

bool ERMemPool::returnToChunk(void* p) {
  ERChunk* chunk = ERChunk::chunkOf(p);
  if (chunk->FreeItem(p) != 0) return false;
  unbindChunk(chunk);
  return true;
}

void ERMemPool::collateFreeSpace() {
  if (debug_MemPool > 0) std::cerr << "Garbage Collecting ";
  while (freeList != nullptr) {
    void* p = freeList;
    unsigned char* slot = slotOf(p);
    std::memcpy(&freeList, slot, sizeof freeList);
    writeWord(slot, ERChunk::chunkWord(p));
    // One dot for each chunk released.
    if (returnToChunk(p) && debug_MemPool > 0) std::cerr << '.';
  }
  nFree = 0;
  if (debug_MemPool > 0) std::cerr << "done" << std::endl;
}

void ERMemPool::unbindChunk(ERChunk* chunk) {
  if (chunk->next != nullptr) chunk->next->previous = chunk->previous;
  if (chunk->previous != nullptr) chunk->previous->next = chunk->next;
  if (chunk == m_pHeadChunk) m_pHeadChunk = chunk->next;
  delete chunk;
}

void ERMemPool::releaseChunks() {
  while (m_pHeadChunk != nullptr) {
    ERChunk* older = m_pHeadChunk->next;
    delete m_pHeadChunk;
    m_pHeadChunk = older;
  }
  nFree = 0;
  freeList = nullptr;
}

void ERMemPool::purge() {
  if (debug_MemPool > 0) std::cerr << "Purge..." << std::endl;
  releaseChunks();
}

// ---------------------------------------------------------------------------------------------
// Global pools and size-routed allocation

namespace {
// Constructed before every other static object of the library (so that pool i serves 4*(i+1) bytes
// and load-time objects may already allocate from the pools) and destroyed after all of them, which
// gives the chunks back at unload.
ERMemPool g_globalPools[ER_GLOBAL_POOL_COUNT] __attribute__((init_priority(101)));
}  // namespace

ERMemPool& ERGlobalMemPool(unsigned i) {
  ER_ASSERT_T(i < ER_GLOBAL_POOL_COUNT, "i<ER_GLOBAL_POOL_COUNT");
  return g_globalPools[i < ER_GLOBAL_POOL_COUNT ? i : ER_GLOBAL_POOL_COUNT - 1];
}

void* FastAllocate(unsigned size, int count) {
  const unsigned bytes = size * static_cast<unsigned>(count) + ER_CHUNK_WORD_SIZE;
  const unsigned n = bytes / 4;
  unsigned char* e;
  if (n < ER_GLOBAL_POOL_COUNT) {
    e = static_cast<unsigned char*>(g_globalPools[n].alloc());
    writeWord(e, ERChunk::chunkWord(e));
  } else {
    e = static_cast<unsigned char*>(::operator new(bytes));
    writeWord(e, 0);
  }
  return e + ER_CHUNK_WORD_SIZE;
}

void FastDeallocate(void* p) {
  if (p == nullptr) return;
  unsigned char* e = static_cast<unsigned char*>(p) - ER_CHUNK_WORD_SIZE;
  const uint32_t word = readWord(e);
  if (word == 0) {
    ::operator delete(e);
    return;
  }
  ERChunk* ptrChunk = ERChunk::chunkOf(e);
  ERChunk* c = ERChunk::chunkNamedBy(e, word);
  ER_ASSERT_T(ptrChunk == c, "ptrChunk==c");
  ptrChunk->getPool()->free(e);
}

// ---------------------------------------------------------------------------------------------
// ERMemoryPool

void* ERMemoryPool::operator new(std::size_t size, ERMemPool& pool) {
  const std::size_t si = size + ER_CHUNK_WORD_SIZE;
  ER_ASSERT_T(pool.elementSize() >= static_cast<int>(si), "pool.elementSize()>=(int)si");
  // A pool too small for the object cannot hold it: the object is then routed by size instead.
  if (pool.elementSize() < static_cast<int>(si)) return FastAllocate(static_cast<unsigned>(size), 1);
  unsigned char* e = static_cast<unsigned char*>(pool.alloc());
  if (e == nullptr) return FastAllocate(static_cast<unsigned>(size), 1);
  std::memset(e + ER_CHUNK_WORD_SIZE, 0xEF, size);
  writeWord(e, ERChunk::chunkWord(e));
  return e + ER_CHUNK_WORD_SIZE;
}

void* ERMemoryPool::operator new(std::size_t size, int) { return ERMemoryPool::operator new(size); }

void* ERMemoryPool::operator new(std::size_t size) { return FastAllocate(static_cast<unsigned>(size), 1); }

void ERMemoryPool::operator delete(void* p, std::size_t) { FastDeallocate(p); }
void ERMemoryPool::operator delete(void* p, ERMemPool&) { FastDeallocate(p); }
void ERMemoryPool::operator delete(void* p, int) { FastDeallocate(p); }
