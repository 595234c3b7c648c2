#pragma once

#include <Kro/Export.h>

#include <cstddef>
#include <string_view>

namespace Kro {

/// Characters that are still to be read. Readers advance it; the characters themselves are borrowed.
class KRO_EXPORT CharRange {
public:
   constexpr explicit CharRange(std::string_view text) noexcept : text_(text), end_(text.size()) {}

   constexpr bool isEmpty() const noexcept { return position_ == end_; }

   /// @return what is still to be read
   constexpr std::string_view rest() const noexcept { return text_.substr(position_, end_ - position_); }

   /// @return how many bytes of the whole text come before the range, also in a range that `takeValue` cut off
   constexpr std::size_t position() const noexcept { return position_; }

   /// @param count at most the length of `rest()`, in bytes
   constexpr void advance(std::size_t count) noexcept { position_ += count; }

   /// Advances past `expected` if the range begins with it.
   /// @return whether it did
   constexpr bool skip(std::string_view expected) noexcept
   {
      if (!rest().starts_with(expected)) {
         return false;
      }
      position_ += expected.size();
      return true;
   }

   /// Cuts one value off the begin, whatever its type: everything up to a ',', '=', ')' or '}' that stands outside the
   /// value's own brackets and quotes, or up to the end.
   /// @return the value's characters
   CharRange takeValue() noexcept;

   /// @throws ParseException unless the range is empty
   void endIs() const;

   /// @param expected what should stand at the begin of the range, in words
   /// @throws ParseException always: where, what was expected, what was found
   [[noreturn]] void refuse(std::string_view expected) const;

private:
   std::string_view text_;
   std::size_t position_ = 0;
   std::size_t end_;
};

} // namespace Kro
