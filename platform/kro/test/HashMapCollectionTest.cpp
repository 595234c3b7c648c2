#include "CollectionSuite.h"

namespace Kro::Test {

using HashMapKinds = testing::Types<
   HashMapKind<ShortText>, HashMapKind<Address>, HashMapKind<Colliding>, HashMapNamedKind, HashMapPtrKind>;
INSTANTIATE_TYPED_TEST_SUITE_P(HashMap, Collection, HashMapKinds);

} // namespace Kro::Test
