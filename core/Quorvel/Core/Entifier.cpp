#include <Quorvel/Core/Entifier.h>

#include <Cell/CellId.h>
#include <Orvo/Assert.h>

#include <cstddef>
#include <cstdint>
#include <regex>

namespace Quorvel::Core::Detail {

// Not constexpr: that would make it inline, with a definition in every program that looks at its values.
constinit char const* const MakerPathMount::Constant::arrayArgPath[4] = {"%cellId", "%sliceId", "%arg0", "%arg1"};

MakerPathMount::String MakerPathMount::cellId()
{
   std::uint32_t const id = Cell::cellId();
   return std::to_string(id);
}

MakerPathMount::String MakerPathMount::makePath(CString pathTemplate) const noexcept
{
   String path(pathTemplate);
   if (path.find('%') == String::npos) {
      return path;
   }
   String const* const values[] = {&cellIdValue, &sliceIdValue, &arg0Value, &arg1Value};
   for (std::size_t i = 0; i < std::size(values); ++i) {
      auto const* const placeholder = Constant::arrayArgPath[i];
      if (!values[i]->empty()) {
         path = std::regex_replace(path, std::regex(placeholder), *values[i]);
         continue;
      }
      bool const isPlaceholderLeft = path.find(placeholder) != String::npos;
      // The place is part of the text that is printed, as tools that look for it know it.
      Orvo::assertThat(!isPlaceholderLeft, "Unexpected empty path argument string.", "Entifier", 31);
   }
   return path;
}

} // namespace Quorvel::Core::Detail
