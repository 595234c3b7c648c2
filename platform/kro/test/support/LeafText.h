#pragma once

#include "MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/Slot.h>
#include <Kro/TextBuffer.h>

#include <string>
#include <string_view>

namespace Test {

/// @return the text form of a value of a leaf type
template <class T>
std::string textOf(T const& value)
{
   Kro::TextBuffer text;
   text.append('>'); // it stands after what was there
   Kro::typeOf<T>()->ops.appendText(text, &value);
   return std::string(text.view().substr(1));
}

template <class T>
T read(std::string_view text)
{
   auto const slot = Kro::Slot::read({Kro::typeOf<T>()}, text);
   return *static_cast<T const*>(slot.genericIf().voidPtr());
}

template <class T>
std::string refusal(std::string_view text)
{
   return messageOf<Kro::ParseException>([&] { read<T>(text); });
}

template <class T>
bool isRead(std::string_view text)
{
   try {
      read<T>(text);
      return true;
   } catch (Kro::ParseException const&) {
      return false;
   }
}

} // namespace Test
