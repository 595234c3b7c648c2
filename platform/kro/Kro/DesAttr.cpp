#include <Kro/DesAttr.h>

#include <Kro/Exception.h>

#include <Orvo/Assert.h>
#include <Orvo/String.h>

#include <cstdio>

namespace Kro {
namespace Detail {

void readOpening(CharRange& text, std::string_view typeName, std::string_view attributeName)
{
   auto at = text;
   if (!at.skip(typeName) || !at.skip("(") || !at.skip(attributeName) || !at.skip("=")) [[unlikely]] {
      text.refuse(Orvo::join("'", typeName, "(", attributeName, "='").view());
   }
   text = at;
}

void readSeparator(CharRange& text, std::string_view attributeName)
{
   auto at = text;
   if (!at.skip(", ") || !at.skip(attributeName) || !at.skip("=")) [[unlikely]] {
      text.refuse(Orvo::join("', ", attributeName, "='").view());
   }
   text = at;
}

void readClosing(CharRange& text)
{
   if (!text.skip(")")) [[unlikely]] {
      text.refuse("')'");
   }
   text.endIs();
}

void readAttribute(CharRange& text, std::string_view attributeName, TypeData const& type, void* to)
{
   if (type.ops.read == nullptr) [[unlikely]] {
      throw TypeException(Orvo::join("a value of type '", type.name, "' cannot be read from text"));
   }
   if (type.kind != TypeKind::leaf) {
      auto value = text.takeValue();
      type.ops.read(to, value);
      return;
   }
   if (auto const* expected = type.ops.read(to, text)) [[unlikely]] {
      text.refuse(Orvo::join(expected, " for attribute '", attributeName, "'").view());
   }
}

} // namespace Detail

void assertNoTextConstructor(std::string_view typeName) noexcept
{
   // No "::" at all: npos + 1 is the begin.
   auto const last = typeName.rfind(':') + 1;
   auto const name = typeName.substr(last);
   char message[256];
   std::snprintf(
      message, sizeof message, "No String constructor for %.*s - has collection", static_cast<int>(name.size()),
      name.data());
   Orvo::assertionFailed(message, __builtin_FILE(), __builtin_LINE());
}

} // namespace Kro
