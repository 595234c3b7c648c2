#include "CollectionSuite.h"

namespace Kro::Test {

using OrderedKinds = testing::Types<OrderedMapKind<std::int32_t>, OrderedMapKind<std::uint32_t>, OrderedEntitiesKind>;
INSTANTIATE_TYPED_TEST_SUITE_P(Ordered, Collection, OrderedKinds);

} // namespace Kro::Test
