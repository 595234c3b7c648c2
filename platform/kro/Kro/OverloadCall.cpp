#include <Kro/OverloadCall.h>

#include <algorithm>
#include <array>
#include <vector>

namespace Kro::Detail {

Overload const* findOverload(std::span<Overload const> overloads, std::span<GenericIf const> arguments) noexcept
{
   auto const found = std::find_if(overloads.begin(), overloads.end(), [arguments](Overload const& one) {
      return std::equal(
         one.arguments.begin(), one.arguments.end(), arguments.begin(), arguments.end(),
         [](TypeRef wanted, GenericIf const& given) { return given.holds(wanted); });
   });
   return found != overloads.end() ? &*found : nullptr;
}

void callOverload(Overload const& overload, void* object, std::span<GenericIf const> arguments, void* result)
{
   constexpr std::size_t usual = 8;
   std::array<void*, usual> few{};
   std::vector<void*> many(arguments.size() > usual ? arguments.size() : 0);
   void** const slots = many.empty() ? few.data() : many.data();
   std::transform(arguments.begin(), arguments.end(), slots, [](GenericIf const& one) { return one.voidPtr(); });
   overload.call(object, slots, result);
}

} // namespace Kro::Detail
