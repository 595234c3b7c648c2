#pragma once

#include <Kro/Export.h>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace Kro {

/// Characters that are still to be read. Readers advance it; the characters themselves are borrowed.
class KRO_EXPORT CharRange {
public:
   constexpr explicit CharRange(std::string_view text) noexcept
      : text_(text), at_(text.data()), end_(text.data() + text.size())
   {}

   constexpr bool isEmpty() const noexcept { return at_ == end_; }

   /// @return what is still to be read
   constexpr std::string_view rest() const noexcept { return {at_, static_cast<std::size_t>(end_ - at_)}; }

   /// @return how many bytes of the whole text come before the range, also in a range that `takeValue` cut off
   constexpr std::size_t position() const noexcept { return static_cast<std::size_t>(at_ - text_.data()); }

   /// @param count at most the length of `rest()`, in bytes
   constexpr void advance(std::size_t count) noexcept { at_ += count; }

   /// Advances past `expected` if the range begins with it.
   /// @return whether it did
   bool skip(std::string_view expected) noexcept
   {
      if (rest().size() < expected.size() || !isAt(at_, expected)) {
         return false;
      }
      at_ += expected.size();
      return true;
   }

   /// Cuts the text of one value off the begin, whatever its type: all up to a ',', '=', ')' or '}' that stands outside
   /// the value's own brackets and quotes, or to the end.
   /// @return the value's characters
   /// Cost: linear in the length of the value.
   CharRange takeValue() noexcept;

   /// @throws ParseException unless the range is empty
   void endIs() const
   {
      if (!isEmpty()) [[unlikely]] {
         refuseRest();
      }
   }

   /// @param expected what should stand at the begin of the range, in words
   /// @throws ParseException always: where, what was expected, and what was found, 24 bytes of it at most
   [[noreturn]] void refuse(std::string_view expected) const;

private:
   [[noreturn]] void refuseRest() const;

   /// Most names are short, and a call would cost more than the comparison.
   static bool isAt(char const* at, std::string_view expected) noexcept
   {
      auto const size = expected.size();
      if (size >= 8 && size <= 16) {
         return isSameWord<8>(at, expected.data()) && isSameWord<8>(at + size - 8, expected.data() + size - 8);
      }
      if (size >= 4 && size < 8) {
         return isSameWord<4>(at, expected.data()) && isSameWord<4>(at + size - 4, expected.data() + size - 4);
      }
      return size == 0 || std::memcmp(at, expected.data(), size) == 0;
   }

   template <std::size_t count>
   static bool isSameWord(char const* a, char const* b) noexcept
   {
      return std::memcmp(a, b, count) == 0;
   }

   std::string_view text_;
   char const* at_;
   char const* end_;
};

} // namespace Kro
