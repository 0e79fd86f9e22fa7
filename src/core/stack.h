// stack.h - a growable stack of plain records for the library's explicit
// stacks (tree release, readers, writers), so that no walk recurses on the
// depth of its input. Doubles its room as it grows; the memory goes back when
// the stack leaves scope.
#pragma once

#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "core/kyr_alloc.h"

namespace kyr {

template <typename T>
class Stack {
  static_assert(std::is_trivially_copyable_v<T>, "plain records only");

 public:
  Stack() = default;
  Stack(const Stack&) = delete;
  Stack& operator=(const Stack&) = delete;
  ~Stack() { std::free(data_); }

  void push(const T& item) {
    if (size_ == room_) grow();
    data_[size_++] = item;
  }
  T pop() { return data_[--size_]; }
  T& top() { return data_[size_ - 1]; }
  T& operator[](size_t i) { return data_[i]; }
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }
  T* data() { return data_; }
  void resize_down(size_t n) { size_ = n; }

  // Makes room for n more items and returns the first; the caller fills them.
  T* extend(size_t n) {
    while (room_ - size_ < n) grow();
    T* first = data_ + size_;
    size_ += n;
    return first;
  }

 private:
  void grow() {
    size_t room = room_ ? sat_mul(room_, 2) : 16;
    data_ = static_cast<T*>(xrealloc(data_, sat_mul(room, sizeof(T))));
    room_ = room;
  }

  T* data_ = nullptr;
  size_t size_ = 0;
  size_t room_ = 0;
};

}  // namespace kyr
