#include <Kro/OrderedMap.h>
#include <Kro/Table.h>

class KroNumber final : public Kro::OrderedNode<KroNumber, std::int32_t, std::uint32_t> {
public:
   using OrderedNode::OrderedNode;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;
};

struct Sample {
   Kro::OrderedMap<KroNumber> number;

   static Kro::KroType const kroType;
   struct Declaration;
};

struct Sample::Declaration {
   static constexpr auto table = Kro::table<Sample>(Kro::collection<2, &Sample::number>("number", Kro::ctorArg));
};

constinit Kro::KroType const Sample::kroType = Kro::valueType<Sample, Sample::Declaration>("Sample", nullptr);
