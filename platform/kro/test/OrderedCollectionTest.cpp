#include "collections/ContentSuite.h"
#include "collections/CopySuite.h"
#include "collections/ModelSuite.h"
#include "collections/OrderedKinds.h"
#include "collections/WalkSuite.h"

namespace Kro::Test {

using OrderedKinds = testing::Types<OrderedMapKind<std::int32_t>, OrderedMapKind<std::uint32_t>, OrderedEntitiesKind>;
INSTANTIATE_TYPED_TEST_SUITE_P(Ordered, CollectionContent, OrderedKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(Ordered, CollectionCopy, OrderedKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(Ordered, CollectionWalk, OrderedKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(Ordered, CollectionModel, OrderedKinds);

} // namespace Kro::Test
