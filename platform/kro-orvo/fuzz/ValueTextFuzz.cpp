#include "../test/Readable.h"

#include <KroOrvo/Impl.h>

#include <Kro/Exception.h>
#include <Kro/Slot.h>

#include <Orvo/Assert.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

// Reads any bytes as the text of several value types: what can be read is written in the same bytes again, all else is
// refused with a ParseException.

namespace {

void readAs(Kro::KroType const& type, std::string_view text)
{
   try {
      auto const slot = Kro::Slot::read({&type}, text);
      auto const printed = KroOrvo::Impl::valueToStrep(type, slot.genericIf().voidPtr());
      ORVO_ASSERT(printed == text, "what was read is written in the same bytes");
   } catch (Kro::ParseException const& refusal) {
      ORVO_ASSERT(refusal.position() <= text.size(), "the mistake lies in the text");
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
   std::string_view const text(reinterpret_cast<char const*>(data), size);
   for (auto const* type :
        {&Test::Label::kroType, &Test::Nothing::kroType, &Test::Leaves::kroType, &Test::Frame::kroType,
         &Test::Nest::kroType}) {
      readAs(*type, text);
   }
   return 0;
}
