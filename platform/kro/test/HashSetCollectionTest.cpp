#include "CollectionSuite.h"

namespace Kro::Test {

using HashSetKinds =
   testing::Types<HashSetKind<ShortText>, HashSetKind<LongText>, HashSetKind<Address>, HashSetKind<Colliding>>;
INSTANTIATE_TYPED_TEST_SUITE_P(HashSet, Collection, HashSetKinds);

} // namespace Kro::Test
