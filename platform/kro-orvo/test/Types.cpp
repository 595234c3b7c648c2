#include "Types.h"

#include <Kro/Table.h>

namespace Test {
constinit Kro::AllocTrackTypeInfo KroSample::memAllocationTracker_{sizeof(KroSample), "Test::KroSample"};

struct Sample::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Sample>(
      Kro::value<2, &Sample::text>("text"), Kro::value<3, &Sample::flag>("flag"),
      Kro::value<4, &Sample::small>("small"), Kro::value<5, &Sample::large>("large"),
      Kro::value<6, &Sample::half>("half"), Kro::computed<7, &Sample::worked>("worked"),
      Kro::operation<8, &Sample::work>("work"));
   // clang-format on
};

constinit Kro::KroType const Sample::kroType = Kro::valueType<Sample, Sample::Declaration>("Sample", nullptr);

struct Bare::Declaration {
   static constexpr auto table = Kro::table<Bare>(Kro::statics<2, &Bare::instances>("instances"));
};

constinit Kro::KroType const Bare::kroType = Kro::entryType<Bare, Bare::Declaration>("Bare", nullptr);

struct Leaf::Declaration {
   static constexpr auto table = Kro::table<Leaf>(Kro::value<130, &Leaf::size_>("size"));
};

constinit Kro::KroType const Leaf::kroType = Kro::entityType<Leaf, Leaf::Declaration>("Leaf", nullptr);

struct Holder::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Holder, Kro::Entity>(
      Kro::collection<258, &Holder::sample>("sample"), Kro::collection<259, &Holder::tag>("tag"),
      Kro::collection<260, &Holder::leaf>("leaf"), Kro::value<261, &Holder::partner>("partner"),
      Kro::entries<262, Bare>("ring"));
   // clang-format on
};

constinit Kro::KroType const Holder::kroType = Kro::entityType<Holder, Holder::Declaration>("Holder", nullptr);

struct Derived::Declaration {
   static constexpr auto table = Kro::table<Derived, Holder>(Kro::value<300, &Derived::extra_>("extra"));
};

constinit Kro::KroType const Derived::kroType = Kro::entityType<Derived, Derived::Declaration>("Derived", nullptr);

} // namespace Test
