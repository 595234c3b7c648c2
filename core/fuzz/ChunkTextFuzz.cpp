#include <Quorvel/Core/Memory/Info/Detail/Chunk.h>

#include <KroOrvo/Impl.h>

#include <Kro/CharRange.h>
#include <Kro/Exception.h>

#include <Orvo/Assert.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string_view>

// Reads any bytes as the description of a chunk: what can be read is written in the same bytes again, all else is refused
// with a ParseException.

using Quorvel::Core::Memory::Info::Detail::Chunk;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
   std::string_view const text(reinterpret_cast<char const*>(data), size);
   try {
      Kro::CharRange range(text);
      Chunk const chunk(range);
      std::ostringstream stream;
      stream << chunk;
      ORVO_ASSERT(range.isEmpty(), "the text is used up");
      ORVO_ASSERT(stream.str() == text, "what was read is written in the same bytes");
      ORVO_ASSERT(
         KroOrvo::Impl::valueToStrep(Chunk::kroType, &chunk) == text, "the framework writes the same bytes, too");
   } catch (Kro::ParseException const& refusal) {
      ORVO_ASSERT(refusal.position() <= text.size(), "the mistake lies in the text");
   }
   return 0;
}
