// The intrusive singly linked list and the pointer vector.
#include "velmora/islist.h"

#include <algorithm>
#include <iostream>

#include "velmora/ercommon.h"

#define ER_THIS_UNIT "source/align/islist"

namespace {
void message(const char* text) { std::cerr << text << std::endl; }
}  // namespace

// ---------------------------------------------------------------------------------------------
// ERIsvSlist

ERIsvSlist::ERIsvSlist() { init(); }

ERIsvSlist::ERIsvSlist(ERIsvSlink* a) {
  init();
  if (a == ernil) {
    message("ERIsvSlist::ERIsvSlist(ERIsvSlink*): Attempt to construct with nil pointer");
    return;
  }
  // A link taken from another list is taken over all the same: that list is left inconsistent.
  if (a->next_ != ernil)
    message("ERIsvSlist::ERIsvSlist(ERIsvSlink*): Attempt to add intrusive link to more than one list");
  head_.next_ = a;
  a->next_ = &tail_;
  last_ = a;
  nitems_ = 1;
}

ERIsvSlist::~ERIsvSlist() { clear(); }

void ERIsvSlist::init() {
  tail_.next_ = &tail_;
  head_.next_ = &tail_;
  last_ = &head_;
  nitems_ = 0;
}

ERIsvSlink* ERIsvSlist::at(unsigned i) const {
  ER_ASSERT_T(i < entries(), "i<entries()");
  if (i >= entries()) return ernil;
  ERIsvSlink* link = head_.next_;
  while (i-- > 0) link = link->next_;
  return link;
}

void ERIsvSlist::insertAt(unsigned i, ERIsvSlink* a) {
  ER_ASSERT_T(i <= entries(), "i<=entries()");
  if (i > entries()) return;
  if (a == ernil)
    message("ERIsvSlist::insertAt(size_t,ERIsvSlink*): nil pointer");
  else if (a->next_ != ernil)
    message("ERIsvSlist::insertAt(size_t,ERIsvSlink*): Attempt to add intrusive link to more than one list");
  insertAfterLink(i == 0 ? &head_ : at(i - 1), a);
}

void ERIsvSlist::insertAfterLink(ERIsvSlink* sl, ERIsvSlink* a) {
  if (sl == ernil) {
    message("ERIsvSlist::insertAfterLink(ERIsvSlink*, ERIsvSlink*): Internal error: attempt to add link after nil link");
    ER_ASSERT_T(sl != ernil, "sl!=ernil");
  }
  if (a == ernil) {
    message("ERIsvSlist::insertAfterLink(ERIsvSlink*, ERIsvSlink*): Attempt to add nil link");
    ER_ASSERT_T(a != ernil, "a!=ernil");
  } else if (a->next_ != ernil) {
    message("ERIsvSlist::insertAfterLink(ERIsvSlink*, ERIsvSlink*): Attempt to add intrusive link to more than one list");
    ER_ASSERT_T(a->next_ == ernil, "a->next_==ernil");
  }
  // Nothing can be linked to or after a nil link; a link of another list is taken over.
  if (sl == ernil || a == ernil) return;
  a->next_ = sl->next_;
  sl->next_ = a;
  if (sl == last_) last_ = a;
  ++nitems_;
  ER_ASSERT_T(last_->next_ == &tail_, "last_->next_ == &tail_");
}

ERIsvSlink* ERIsvSlist::removeAt(unsigned i) {
  ER_ASSERT_T(i < entries(), "i<entries()");
  if (i >= entries()) return ernil;
  ERIsvSlink* prev = &head_;
  while (i-- > 0) prev = prev->next_;
  return removeRight(prev);
}

ERIsvSlink* ERIsvSlist::removeRight(ERIsvSlink* prev) {
  if (prev == ernil) {
    message("ERIsvSlist::removeRight(ERIsvSlink*): Internal error");
    ER_ASSERT_T(prev, "prev");
    return ernil;
  }
  if (!(prev == &head_ || containsReference(prev))) {
    message("ERIsvSlist::removeRight(ERIsvSlink*): attempt to remove link not in list");
    ER_ASSERT_T(prev == &head_ || containsReference(prev), "prev == &head_ || containsReference(prev)");
    return ernil;
  }
  if (prev == last_) {
    message("ERIsvSlist::removeRight(ERIsvSlink*): Attempt to remove link after last");
    ER_ASSERT_T(prev != last_, "prev!=last_");
    return ernil;
  }
  ERIsvSlink* victim = prev->next_;
  prev->next_ = victim->next_;
  if (victim == last_) last_ = prev;
  --nitems_;
  victim->next_ = ernil;
  return victim;
}

ERIsvSlink* ERIsvSlist::removeReference(ERIsvSlink* a) {
  ER_ASSERT_T(a != &head_ && a != &tail_, "a != &head_ && a != &tail_");
  ERIsvSlink* prev = findLeftIsv(a);
  if (prev == ernil) {
    message("ERIsvSlist::removeReference(ERIsvSlink*): Internal error");
    return ernil;
  }
  return removeRight(prev);
}

bool ERIsvSlist::containsReference(const ERIsvSlink* a) const {
  if (a == ernil) {
    message("ERIsvSlist::containsReference(const ERIsvSlink*): nil pointer");
    return false;
  }
  ER_ASSERT_T(head_.next_ != 0, "head_.next_ != 0");
  for (const ERIsvSlink* link = head_.next_; link != ernil && link != &tail_; link = link->next_)
    if (link == a) return true;
  return false;
}

ERIsvSlink* ERIsvSlist::findLeftIsv(const ERIsvSlink* a) const {
  ER_ASSERT_T(head_.next_ != 0, "head_.next_ != 0");
  if (a == ernil) return ernil;
  for (const ERIsvSlink* link = &head_; link->next_ != ernil && link->next_ != &tail_; link = link->next_)
    if (link->next_ == a) return const_cast<ERIsvSlink*>(link);
  return ernil;
}

void ERIsvSlist::clear() {
  // Bounded by the count as well as by the tail, so that a list left inconsistent by a link taken
  // over from it never walks into the other list.
  ERIsvSlink* link = head_.next_;
  for (unsigned n = nitems_; n > 0 && link != ernil && link != &tail_; --n) {
    ERIsvSlink* following = link->next_;
    link->next_ = ernil;
    link = following;
  }
  init();
}

// ---------------------------------------------------------------------------------------------
// ERPtrVector

ERPtrVector::ERPtrVector(unsigned n, void* value) : nitems_(n), array_(n != 0 ? new void*[n] : nullptr) {
  std::fill(array_, array_ + nitems_, value);
}

ERPtrVector::ERPtrVector(const ERPtrVector& other)
    : nitems_(other.nitems_), array_(other.nitems_ != 0 ? new void*[other.nitems_] : nullptr) {
  std::copy(other.array_, other.array_ + nitems_, array_);
}

ERPtrVector& ERPtrVector::operator=(const ERPtrVector& other) {
  if (this != &other) {
    ERPtrVector copy(other);
    std::swap(nitems_, copy.nitems_);
    std::swap(array_, copy.array_);
  }
  return *this;
}

ERPtrVector& ERPtrVector::operator=(void* value) {
  std::fill(array_, array_ + nitems_, value);
  return *this;
}

ERPtrVector::~ERPtrVector() { delete[] array_; }

void*& ERPtrVector::operator[](unsigned i) {
  ER_ASSERT_T(i < entries(), "i<entries()");
  // Out of range in the continuing build: a scratch entry that belongs to no vector.
  static void* scratch;
  if (i >= entries()) return scratch = nullptr;
  return array_[i];
}

void* ERPtrVector::operator[](unsigned i) const {
  ER_ASSERT_T(i < entries(), "i<entries()");
  return i < entries() ? array_[i] : nullptr;
}

void ERPtrVector::reshape(unsigned n) {
  if (n == nitems_) return;
  void** fresh = n != 0 ? new void*[n]() : nullptr;
  std::copy(array_, array_ + std::min(n, nitems_), fresh);
  delete[] array_;
  array_ = fresh;
  nitems_ = n;
}

void ERPtrVector::resize(unsigned n) { reshape(n); }
