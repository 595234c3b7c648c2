#pragma once

#include <Kro/CharRange.h>
#include <Kro/TypeOf.h>

#include <cstddef>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace Kro {

/// The readers with which a value type reads its text form, `TypeName(first=value, middle=value, last=value)`:
///
///     Chunk::Chunk(Kro::CharRange& text)
///     {
///        Kro::desAttrPre(text, kroType.name, "name", name_);
///        Kro::desAttrIntra(text, "size", size_);
///        Kro::desAttrPost(text, "isSpare", isSpare_);
///     }
///
/// Reading is strict: what the text form of a value is, and nothing else, so that what could be read is written in the
/// same characters again. The range advances past what was read. A type that has a table need not write this: see
/// `readByTable`. Attributes are of leaf types, or of value types that can be read.
///
/// Errors: ParseException, which says where, what was expected and what was found; `value` is as it was, and the range
/// stands at the mistake or before the value that has it. TypeException when values of type T cannot be read from text.
/// Cost: linear in the length of the text, for each level of values in values.

namespace Detail {

/// The parts of the readers that need no type: what stands before an attribute's value, and the value, made in the room
/// at `to`.
KRO_EXPORT void
readFirst(CharRange& text, std::string_view typeName, std::string_view attributeName, TypeData const& type, void* to);
KRO_EXPORT void readNext(CharRange& text, std::string_view attributeName, TypeData const& type, void* to);
KRO_EXPORT void readClosing(CharRange& text);

/// Room for a T that a reader makes.
template <class T>
class ReadValue {
public:
   ReadValue(CharRange& text, std::string_view typeName, std::string_view attributeName)
   {
      readFirst(text, typeName, attributeName, *typeOf<T>(), room_);
   }

   ReadValue(CharRange& text, std::string_view attributeName) { readNext(text, attributeName, *typeOf<T>(), room_); }

   ~ReadValue() { std::destroy_at(&get()); }

   ReadValue(ReadValue const&) = delete;
   ReadValue& operator=(ReadValue const&) = delete;

   T& get() noexcept { return *std::launder(reinterpret_cast<T*>(room_)); }

private:
   alignas(T) std::byte room_[sizeof(T)];
};

} // namespace Detail

/// Reads the opening and the first attribute.
/// @param typeName full name of the type
template <HasRecord T>
void desAttrPre(CharRange& text, std::string_view typeName, std::string_view attributeName, T& value)
{
   value = std::move(Detail::ReadValue<T>(text, typeName, attributeName).get());
}

/// Reads a separator and an attribute in the middle.
template <HasRecord T>
void desAttrIntra(CharRange& text, std::string_view attributeName, T& value)
{
   value = std::move(Detail::ReadValue<T>(text, attributeName).get());
}

/// Reads a separator, the last attribute and the closing, after which nothing may be left.
template <HasRecord T>
void desAttrPost(CharRange& text, std::string_view attributeName, T& value)
{
   Detail::ReadValue<T> last(text, attributeName);
   Detail::readClosing(text);
   value = std::move(last.get());
}

/// Reads the text form of a type with one attribute: opening, attribute and closing, after which nothing may be left.
template <HasRecord T>
void desAttrOnly(CharRange& text, std::string_view typeName, std::string_view attributeName, T& value)
{
   Detail::ReadValue<T> only(text, typeName, attributeName);
   Detail::readClosing(text);
   value = std::move(only.get());
}

/// Ends the process: "No String constructor for <name> - has collection", where `typeName`'s last part is the name. For
/// the text constructor of a type with collections.
[[noreturn]] KRO_EXPORT void assertNoTextConstructor(std::string_view typeName) noexcept;

} // namespace Kro
