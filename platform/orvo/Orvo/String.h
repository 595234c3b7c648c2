#pragma once

#include <Orvo/Export.h>
#include <Orvo/TextHash.h>
#include <Orvo/UseCount.h>

#include <array>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Orvo {

/// Immutable text of 16 bytes: up to 15 characters in place, more in a block that all copies share. A new value is
/// assigned as a whole. Any characters are allowed, NUL included; a NUL always follows the last one.
///
/// Threads: different objects may be used on different threads, also when they share their characters.
/// Cost:    a copy costs 16 bytes and, beyond 15 characters, one increment. Texts beyond 15 characters carry their
/// hash.
class ORVO_EXPORT String {
public:
   using value_type = char;
   using const_iterator = char const*;
   using iterator = const_iterator;

   static constexpr std::size_t largestInPlace = 15; ///< characters that need no shared block

   constexpr String() noexcept = default;

   /// @throws std::logic_error  when the text is null
   /// @throws std::bad_alloc    when there is no memory; like all constructors from characters
   String(char const* text) : String(checked(text)) {}

   String(std::string const& text) : String(text.data(), text.size()) {}

   String(std::string_view text) : String(text.data(), text.size()) {}

   /// @throws std::length_error  beyond 2^48 characters
   String(char const* characters, std::size_t size)
   {
      if (size <= largestInPlace) [[likely]] {
         words_ = Detail::shortTextWords(characters, size);
         words_.high |= (largestInPlace - size) << tagShift;
      } else {
         makeBlock(characters, size);
      }
   }

   String(String const& other) noexcept : words_(other.words_)
   {
      if (isShared()) {
         block()->users.take();
      }
   }

   String(String&& other) noexcept : words_(std::exchange(other.words_, emptyWords)) {}

   ~String()
   {
      if (isShared() && block()->users.drop() == 0) [[unlikely]] {
         freeBlock();
      }
   }

   String& operator=(String const& other) noexcept
   {
      String(other).swap(*this);
      return *this;
   }

   String& operator=(String&& other) noexcept
   {
      String(std::move(other)).swap(*this);
      return *this;
   }

   void swap(String& other) noexcept { std::swap(words_, other.words_); }

   friend void swap(String& left, String& right) noexcept { left.swap(right); }

   std::size_t size() const noexcept
   {
      return isShared() ? words_.high & sizeMask : largestInPlace - (words_.high >> tagShift);
   }

   bool empty() const noexcept { return words_.high == emptyWords.high; }

   /// The characters, then a NUL; valid until the string is changed or destroyed.
   char const* data() const noexcept
   {
      return isShared() ? block()->characters() : reinterpret_cast<char const*>(&words_);
   }

   char const* c_str() const noexcept { return data(); }

   /// @param index  at most `size()`, which gives the NUL
   char const& operator[](std::size_t index) const noexcept { return data()[index]; }

   const_iterator begin() const noexcept { return data(); }

   const_iterator end() const noexcept { return data() + size(); }

   /// The characters; valid like `data()`.
   std::string_view view() const noexcept { return {data(), size()}; }

   operator std::string_view() const noexcept { return view(); }

   explicit operator std::string() const { return std::string(view()); }

   /// `textHash` of the characters: the same in every process. One or two multiplications; no walk over the characters.
   std::uint64_t hash() const noexcept
   {
      return isShared() ? block()->hash : Detail::shortTextHash(withoutTag(), size());
   }

   /// Compares the characters as unsigned bytes.
   friend bool operator==(String const& left, String const& right) noexcept
   {
      if (left.words_ == right.words_) {
         return true;
      }
      return left.isShared() && left.words_.high == right.words_.high && left.block()->hash == right.block()->hash &&
             std::memcmp(left.data(), right.data(), left.size()) == 0;
   }

   friend bool operator==(String const& left, std::string_view right) noexcept { return left.view() == right; }

   friend bool operator==(String const& left, std::string const& right) noexcept { return left.view() == right; }

   friend bool operator==(String const& left, char const* right) { return left.view() == checked(right); }

   friend std::strong_ordering operator<=>(String const& left, String const& right) noexcept
   {
      return left.view() <=> right.view();
   }

   friend std::strong_ordering operator<=>(String const& left, std::string_view right) noexcept
   {
      return left.view() <=> right;
   }

   friend std::strong_ordering operator<=>(String const& left, std::string const& right) noexcept
   {
      return left.view() <=> std::string_view(right);
   }

   friend std::strong_ordering operator<=>(String const& left, char const* right)
   {
      return left.view() <=> checked(right);
   }

   /// All parts one after the other; allocates at most once.
   static String joined(std::initializer_list<std::string_view> parts);

   /// @throws std::logic_error  when the text is null
   static std::string_view checked(char const* text)
   {
      if (!text) [[unlikely]] {
         refuseNull();
      }
      return text;
   }

private:
   using Words = Detail::TextWords;

   /// What more than 15 characters share: this, the characters, a NUL.
   struct Block {
      char* characters() noexcept { return reinterpret_cast<char*>(this + 1); }

      UseCount users;
      std::uint64_t hash = 0;
   };

   // The last byte is the number of unused characters in place, 15 to 0, so that it is the NUL after 15 characters; or
   // `sharedTag`, and then the first word is the block's address and the second holds the size.
   static constexpr int tagShift = 56;
   static constexpr std::uint64_t sharedTag = std::uint64_t{0x80} << tagShift;
   static constexpr std::uint64_t sizeMask = (std::uint64_t{1} << tagShift) - 1;
   static constexpr std::uint64_t largestSize = std::uint64_t{1} << 48;
   static constexpr Words emptyWords{0, std::uint64_t{largestInPlace} << tagShift};

   bool isShared() const noexcept { return (words_.high & sharedTag) != 0; }

   Block* block() const noexcept { return reinterpret_cast<Block*>(words_.low); }

   Words withoutTag() const noexcept { return {words_.low, words_.high & sizeMask}; }

   [[noreturn]] static void refuseNull();
   char* makeUnfilledBlock(std::size_t size);
   void makeBlock(char const* characters, std::size_t size);
   void freeBlock() noexcept;

   Words words_ = emptyWords;
};

static_assert(sizeof(String) == 16);

/// Writes the characters.
ORVO_EXPORT std::ostream& operator<<(std::ostream& stream, String const& text);

namespace Detail {

/// One part of a joined text: characters that are there already, or the decimal digits of a number.
class JoinPart {
public:
   template <class Text>

   requires std::convertible_to<Text const&, std::string_view> JoinPart(Text const& text)
   {
      if constexpr (std::convertible_to<Text const&, char const*>) {
         view_ = String::checked(text);
      } else {
         view_ = text;
      }
   }

   template <std::unsigned_integral Number>
   requires(
      !std::same_as<Number, bool> && !std::same_as<Number, char8_t> && !std::same_as<Number, char16_t> &&
      !std::same_as<Number, char32_t>) JoinPart(Number number)
   noexcept
   {
      auto* first = digits_.data() + digits_.size();
      std::uint64_t rest = number;
      do {
         *--first = static_cast<char>('0' + rest % 10);
         rest /= 10;
      } while (rest != 0);
      view_ = {first, static_cast<std::size_t>(digits_.data() + digits_.size() - first)};
   }

   JoinPart(JoinPart const&) = delete;
   JoinPart& operator=(JoinPart const&) = delete;

   std::string_view view() const noexcept { return view_; }

private:
   std::array<char, 20> digits_; // uninitialised for a text
   std::string_view view_;
};

} // namespace Detail

/// One text of all the parts: texts of any kind, and unsigned numbers, which are written in decimal.
///
///     join("size=", size, " of '", name, "' is too large.")
///
/// @throws std::logic_error  when a part is a null pointer
/// Cost: allocates at most once.
template <class... Parts>
[[nodiscard]] String join(Parts const&... parts)
{
   return String::joined({Detail::JoinPart(parts).view()...});
}

/// A text beside a `String` in an expression.
template <class Left, class Right>

requires(
   (std::same_as<Left, String> || std::same_as<Right, String>)&&std::convertible_to<Left const&, std::string_view>&&
      std::convertible_to<Right const&, std::string_view>) [[nodiscard]] String
operator+(Left const& left, Right const& right)
{
   return join(left, right);
}

} // namespace Orvo

template <>
struct std::hash<Orvo::String> {
   std::size_t operator()(Orvo::String const& text) const noexcept { return text.hash(); }
};
