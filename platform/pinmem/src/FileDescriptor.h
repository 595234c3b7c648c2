#pragma once

#include "src/SystemCalls.h"
#include <utility>

namespace pinmem_lib {

/// Owns one open file descriptor and closes it.
class FileDescriptor {
public:
   FileDescriptor() = default;

   /// Takes over `number`; -1 owns nothing.
   explicit FileDescriptor(int number) : number_(number) {}

   FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

   FileDescriptor& operator=(FileDescriptor&& other) noexcept
   {
      std::swap(number_, other.number_);
      return *this;
   }

   ~FileDescriptor()
   {
      if (number_ >= 0) {
         systemCalls.close(number_);
      }
   }

   int number() const { return number_; }

   /// Gives the descriptor away, unclosed.
   int release() { return std::exchange(number_, -1); }

   bool isOpen() const { return number_ >= 0; }

private:
   int number_ = -1;
};

} // namespace pinmem_lib
