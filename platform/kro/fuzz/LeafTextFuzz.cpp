#include <Kro/Exception.h>
#include <Kro/Slot.h>
#include <Kro/TextBuffer.h>

#include <Orvo/Assert.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

// Reads any bytes as the text of each leaf type: what can be read is written in the same bytes again, all else is
// refused with a ParseException. And writes any bytes as a text, which can be read back.

namespace {

void readAs(Kro::KroType const& leaf, std::string_view text)
{
   try {
      auto const slot = Kro::Slot::read({&leaf}, text);
      Kro::TextBuffer printed;
      leaf.ops.appendText(printed, slot.genericIf().voidPtr());
      ORVO_ASSERT(printed.view() == text, "what was read is written in the same bytes");
   } catch (Kro::ParseException const& refusal) {
      ORVO_ASSERT(refusal.position() <= text.size(), "the mistake lies in the text");
   }
}

void writeAndRead(Orvo::String const& value)
{
   Kro::TextBuffer printed;
   Kro::Leaf::text.ops.appendText(printed, &value);
   auto const slot = Kro::Slot::read({&Kro::Leaf::text}, printed.view());
   ORVO_ASSERT(Kro::Leaf::text.ops.equal(slot.genericIf().voidPtr(), &value), "any bytes can be read back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
   std::string_view const text(reinterpret_cast<char const*>(data), size);
   for (auto const* leaf :
        {&Kro::Leaf::boolean, &Kro::Leaf::int16, &Kro::Leaf::int32, &Kro::Leaf::int64, &Kro::Leaf::uint16,
         &Kro::Leaf::uint32, &Kro::Leaf::uint64, &Kro::Leaf::text}) {
      readAs(*leaf, text);
   }
   writeAndRead(text);
   return 0;
}
