#include "collections/ContentSuite.h"
#include "collections/CopySuite.h"
#include "collections/HashKinds.h"
#include "collections/ModelSuite.h"
#include "collections/WalkSuite.h"

namespace Kro::Test {

using HashMapKinds = testing::Types<
   HashMapKind<ShortText>, HashMapKind<Address>, HashMapKind<Colliding>, HashMapNamedKind, HashMapPtrKind>;
INSTANTIATE_TYPED_TEST_SUITE_P(HashMap, CollectionContent, HashMapKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(HashMap, CollectionCopy, HashMapKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(HashMap, CollectionWalk, HashMapKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(HashMap, CollectionModel, HashMapKinds);

} // namespace Kro::Test
