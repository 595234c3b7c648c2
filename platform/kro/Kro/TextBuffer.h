#pragma once

#include <Kro/Export.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace Kro {

/// Characters that writers append to: the first ones lie in the object itself, so that most texts need no other memory.
/// For a local variable.
class KRO_EXPORT TextBuffer {
public:
   TextBuffer() noexcept : begin_(room_), at_(room_), end_(room_ + sizeof room_) {}

   ~TextBuffer()
   {
      if (begin_ != room_) {
         delete[] begin_;
      }
   }

   TextBuffer(TextBuffer const&) = delete;
   TextBuffer& operator=(TextBuffer const&) = delete;

   std::size_t size() const noexcept { return static_cast<std::size_t>(at_ - begin_); }

   /// @return the characters (borrowed: valid until the next one is appended)
   std::string_view view() const noexcept { return {begin_, size()}; }

   /// Drops the last characters.
   /// @param size at most `size()`
   void shrink(std::size_t size) noexcept { at_ = begin_ + size; }

   void append(char c) { *extend(1) = c; }

   void append(std::string_view characters) { put(extend(characters.size()), characters); }

   /// @return room for so many more characters, to be filled
   char* extend(std::size_t count)
   {
      if (static_cast<std::size_t>(end_ - at_) < count) [[unlikely]] {
         grow(count);
      }
      auto* const room = at_;
      at_ += count;
      return room;
   }

   /// Copies characters into such room; most texts are short, and a call would cost more than the copy.
   /// @return what follows them
   static char* put(char* to, std::string_view characters) noexcept
   {
      auto const size = characters.size();
      auto const* const from = characters.data();
      if (size >= 8 && size <= 16) {
         copyWord<8>(to, from, 0);
         copyWord<8>(to, from, size - 8);
      } else if (size >= 4 && size < 8) {
         copyWord<4>(to, from, 0);
         copyWord<4>(to, from, size - 4);
      } else if (size != 0) {
         std::memcpy(to, from, size);
      }
      return to + size;
   }

private:
   template <std::size_t count>
   static void copyWord(char* to, char const* from, std::size_t offset) noexcept
   {
      char word[count];
      std::memcpy(word, from + offset, count);
      std::memcpy(to + offset, word, count);
   }

   void grow(std::size_t count);

   char* begin_;
   char* at_;
   char* end_;
   char room_[488];
};

} // namespace Kro
