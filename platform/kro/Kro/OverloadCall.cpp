#include <Kro/OverloadCall.h>

#include <algorithm>
#include <array>
#include <vector>

namespace Kro::Detail {
namespace {

// Apart, so that a usual call keeps no room for a vector.
[[gnu::noinline]] void
callWithMany(Overload const& overload, void* object, std::span<GenericIf const> arguments, void* result)
{
   std::vector<void*> slots;
   slots.reserve(arguments.size());
   for (auto const& one : arguments) {
      slots.push_back(one.voidPtr());
   }
   overload.call(object, slots.data(), result);
}

} // namespace

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
   if (arguments.size() > usual) [[unlikely]] {
      callWithMany(overload, object, arguments, result);
      return;
   }
   std::array<void*, usual> slots; // what is not filled is not read
   std::transform(
      arguments.begin(), arguments.end(), slots.begin(), [](GenericIf const& one) { return one.voidPtr(); });
   overload.call(object, slots.data(), result);
}

} // namespace Kro::Detail
