// Two small containers of the foundation: ERIsvSlist, a singly linked list whose links live inside
// the listed objects (each derives from ERIsvSlink), with sentinel head and tail links so that
// insertion and removal need no special cases; and ERPtrVector, a growable array of untyped pointers.
#ifndef VELMORA_ISLIST_H
#define VELMORA_ISLIST_H

#include <cstddef>

// The null link: the next_ of a link that is in no list.
constexpr std::nullptr_t ernil = nullptr;

// The link a listed object carries. A link is in at most one list at a time; the list never owns
// the object. A copy is in no list, and assignment leaves each object's membership as it was.
class ERIsvSlink {
 public:
  ERIsvSlink() = default;
  ERIsvSlink(const ERIsvSlink&) {}
  ERIsvSlink& operator=(const ERIsvSlink&) { return *this; }

  ERIsvSlink* next() const { return next_; }  // ernil while in no list

 private:
  friend class ERIsvSlist;
  ERIsvSlink* next_ = ernil;
};

// A singly linked list of ERIsvSlink objects, which must outlive their membership: clear() and the
// destructor set the next_ of every link still listed back to ernil, so they can join another list.
// Misuse writes a message naming the member function on standard error; the insertion checks then go
// on, the internal checks of insertAfterLink and removeRight also fail an assertion.
class ERIsvSlist {
 public:
  ERIsvSlist();
  // A one-element list; a nil a leaves it empty after the message.
  explicit ERIsvSlist(ERIsvSlink* a);
  ~ERIsvSlist();
  ERIsvSlist(const ERIsvSlist&) = delete;
  ERIsvSlist& operator=(const ERIsvSlist&) = delete;

  unsigned entries() const { return nitems_; }
  // The i-th link (from 0); ernil when i is out of range.
  ERIsvSlink* at(unsigned i) const;

  // Inserts a so that it becomes the i-th link; i == entries() appends.
  void insertAt(unsigned i, ERIsvSlink* a);
  // Removes and returns the i-th link (its next_ becomes ernil); ernil when i is out of range.
  ERIsvSlink* removeAt(unsigned i);
  // Removes a and returns it; ernil when a is not in the list.
  ERIsvSlink* removeReference(ERIsvSlink* a);
  bool containsReference(const ERIsvSlink* a) const;
  void clear();

 protected:
  // Puts a right after sl, which is &head_ or a link of the list.
  void insertAfterLink(ERIsvSlink* sl, ERIsvSlink* a);
  // Takes out the link after prev and returns it; ernil when a check fails.
  ERIsvSlink* removeRight(ERIsvSlink* prev);
  // The link whose next_ is a (possibly &head_), or ernil.
  ERIsvSlink* findLeftIsv(const ERIsvSlink* a) const;
  void init();
  // The next_ of any link, for lists derived from this one.
  static ERIsvSlink*& nextOf(ERIsvSlink* link) { return link->next_; }

  ERIsvSlink head_;
  ERIsvSlink tail_;
  ERIsvSlink* last_;
  unsigned nitems_;
};

// An owned array of untyped pointers; it never owns what they point to. Copies have their own array.
// New entries made by growing the vector are null.
class ERPtrVector {
 public:
  // n entries, each value; no array at all when n is 0.
  explicit ERPtrVector(unsigned n = 0, void* value = nullptr);
  ERPtrVector(const ERPtrVector& other);
  ERPtrVector& operator=(const ERPtrVector& other);
  ERPtrVector& operator=(void* value);  // every entry becomes value
  ~ERPtrVector();

  unsigned entries() const { return nitems_; }
  void* const* data() const { return array_; }  // null when there are no entries
  void*& operator[](unsigned i);                 // bounds-checked
  void* operator[](unsigned i) const;

  // Makes it n entries long, keeping the first min(n, entries()) and making the others null.
  void reshape(unsigned n);
  void resize(unsigned n);  // the same as reshape

 private:
  unsigned nitems_;
  void** array_;
};

#endif
