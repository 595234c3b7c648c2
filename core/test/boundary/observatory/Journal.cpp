#include "boundary/observatory/Journal.h"

#include "boundary/observatory/Module.h"

#include <Kro/Table.h>

namespace Observatory {

Orvo::Ptr<Journal> Journal::instance()
{
   return Orvo::dynamicCast<Journal>(singletonIs(module, 1, kroType.name));
}

void Journal::lineIs(Orvo::String const& text, std::uint32_t number)
{
   line_.is(text, number);
   publishLine(text);
}

void Journal::lineDel(Orvo::String const& text)
{
   if (line_.erase(text)) {
      publishLine(text);
   }
}

void Journal::publishLine(Orvo::String const& text)
{
   handleLine(text);
   publisher()->publishChangeRecursive(lineNumber, "line", text);
}

struct Journal::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Journal, Kro::Entity>(
      Kro::collection<lineNumber, &Journal::line_, Kro::is<&Journal::lineIs>, Kro::del<&Journal::lineDel>>("line"),
      Kro::statics<259, &Journal::instance>("instance"),
      Kro::reactor<260, &Journal::handleLine>("handleLine"),
      Kro::value<261, &Journal::changes_>("changes", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const Journal::kroType =
   Kro::entityType<Journal, Journal::Declaration>("Observatory::Journal", &module);

} // namespace Observatory
