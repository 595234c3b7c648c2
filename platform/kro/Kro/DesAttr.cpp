#include <Kro/DesAttr.h>

#include <Kro/Exception.h>

#include <Orvo/Assert.h>
#include <Orvo/String.h>

#include <cstdio>

namespace Kro {
namespace {

// Apart, so that reading keeps no room for the texts.
[[noreturn, gnu::noinline]] void refuse(
   CharRange const& text, std::string_view before, std::string_view expected, std::string_view attributeName,
   std::string_view after)
{
   text.refuse(Orvo::join(before, expected, attributeName, after).view());
}

[[noreturn, gnu::noinline]] void refuseType(TypeData const& type)
{
   throw TypeException(Orvo::join("a value of type '", type.name, "' cannot be read from text"));
}

void readValue(CharRange& text, std::string_view attributeName, TypeData const& type, void* to)
{
   if (type.ops.read == nullptr) [[unlikely]] {
      refuseType(type);
   }
   if (type.kind != TypeKind::leaf) {
      auto after = text;
      auto value = after.takeValue();
      type.ops.read(to, value);
      text = after;
      return;
   }
   if (auto const* expected = type.ops.read(to, text)) [[unlikely]] {
      refuse(text, expected, " for attribute '", attributeName, "'");
   }
}

} // namespace

namespace Detail {

void readFirst(
   CharRange& text, std::string_view typeName, std::string_view attributeName, TypeData const& type, void* to)
{
   auto at = text;
   if (!at.skip(typeName) || !at.skip("(") || !at.skip(attributeName) || !at.skip("=")) [[unlikely]] {
      refuse(text, "'", Orvo::join(typeName, "("), attributeName, "='");
   }
   text = at;
   readValue(text, attributeName, type, to);
}

void readNext(CharRange& text, std::string_view attributeName, TypeData const& type, void* to)
{
   auto at = text;
   if (!at.skip(", ") || !at.skip(attributeName) || !at.skip("=")) [[unlikely]] {
      refuse(text, "'", ", ", attributeName, "='");
   }
   text = at;
   readValue(text, attributeName, type, to);
}

void readClosing(CharRange& text)
{
   if (!text.skip(")")) [[unlikely]] {
      text.refuse("')'");
   }
   text.endIs();
}

} // namespace Detail

void assertNoTextConstructor(std::string_view typeName) noexcept
{
   // No "::" at all: npos + 1 is the begin.
   auto const name = typeName.substr(typeName.rfind(':') + 1);
   char message[256];
   std::snprintf(
      message, sizeof message, "No String constructor for %.*s - has collection", static_cast<int>(name.size()),
      name.data());
   Orvo::assertionFailed(message, __builtin_FILE(), __builtin_LINE());
}

} // namespace Kro
