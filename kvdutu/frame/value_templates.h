// Small templates that appear in the exported interface of other parts of the library.
#pragma once

#include <cstddef>
#include <new>

// Derive from it to forbid copying.
class NonCopyable_c {
 protected:
  NonCopyable_c() = default;
  ~NonCopyable_c() = default;

 public:
  NonCopyable_c(const NonCopyable_c&) = delete;
  NonCopyable_c& operator=(const NonCopyable_c&) = delete;
};

// N elements held by value, passed and returned by value.
template <class T, int N>
class FixedSizeArray_c {
 public:
  static_assert(N > 0, "a fixed-size array holds at least one element");
  FixedSizeArray_c() : m_data{} {}
  T& operator[](int i) { return m_data[i]; }
  const T& operator[](int i) const { return m_data[i]; }
  static constexpr int size() { return N; }
  T* data() { return m_data; }
  const T* data() const { return m_data; }
  bool operator==(const FixedSizeArray_c& other) const {
    for (int i = 0; i < N; ++i)
      if (!(m_data[i] == other.m_data[i])) return false;
    return true;
  }
  bool operator!=(const FixedSizeArray_c& other) const { return !(*this == other); }

 private:
  T m_data[N];
};

// The release policy of SharedPtr_c: delete the object.
template <class T>
struct StdRelease {
  static void release(T* object) { delete object; }
};

// A shared pointer of two fields: the object, and a heap-allocated 32-bit count. Both are null for
// an empty pointer. The count is a plain integer: a SharedPtr_c and its copies belong to one thread.
template <class T, class Release = StdRelease<T>>
class SharedPtr_c {
 public:
  SharedPtr_c() : m_object(nullptr), m_count(nullptr) {}
  explicit SharedPtr_c(T* object) : m_object(object), m_count(nullptr) {
    if (object != nullptr) {
      try {
        m_count = new int(1);
      } catch (...) {
        Release::release(object);  // the new object is not leaked when its count cannot be had
        throw;
      }
    }
  }
  SharedPtr_c(const SharedPtr_c& other) : m_object(other.m_object), m_count(other.m_count) {
    if (m_count != nullptr) ++*m_count;
  }
  SharedPtr_c& operator=(const SharedPtr_c& other) {
    if (this != &other) {
      SharedPtr_c copy(other);
      swap(copy);
    }
    return *this;
  }
  ~SharedPtr_c() { drop(); }

  T* get() const { return m_object; }
  T* operator->() const { return m_object; }
  T& operator*() const { return *m_object; }
  explicit operator bool() const { return m_object != nullptr; }
  int useCount() const { return m_count ? *m_count : 0; }
  void reset() {
    drop();
    m_object = nullptr;
    m_count = nullptr;
  }
  void swap(SharedPtr_c& other) {
    T* o = m_object;
    int* c = m_count;
    m_object = other.m_object;
    m_count = other.m_count;
    other.m_object = o;
    other.m_count = c;
  }
  bool operator==(const SharedPtr_c& other) const { return m_object == other.m_object; }
  bool operator!=(const SharedPtr_c& other) const { return m_object != other.m_object; }

 private:
  void drop() {
    if (m_count != nullptr && --*m_count < 1) {
      Release::release(m_object);
      delete m_count;
    }
  }

  T* m_object;
  int* m_count;
};
