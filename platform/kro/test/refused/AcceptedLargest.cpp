// As many attributes as a table may have.
#include <Kro/Table.h>

#include <utility>

struct Sample {
   std::uint32_t a;
};

constexpr char digits[] = "0123456789abcdef";

template <int i>
struct Name {
   static constexpr char text[] = {'a', 't', 't', 'r', 'i', 'b', 'u', 't', 'e', digits[i / 16], digits[i % 16]};
};

template <std::size_t... I>
consteval auto largest(std::index_sequence<I...> /*numbers*/)
{
   return Kro::table<Sample>(
      Kro::value<static_cast<std::int16_t>(I), &Sample::a>(std::string_view(Name<I>::text, sizeof Name<I>::text))...);
}

constexpr auto table = largest(std::make_index_sequence<128>());
