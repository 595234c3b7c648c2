#include "collections/ContentSuite.h"
#include "collections/CopySuite.h"
#include "collections/HashKinds.h"
#include "collections/ModelSuite.h"
#include "collections/WalkSuite.h"

namespace Kro::Test {

using HashSetKinds =
   testing::Types<HashSetKind<ShortText>, HashSetKind<LongText>, HashSetKind<Address>, HashSetKind<Colliding>>;
INSTANTIATE_TYPED_TEST_SUITE_P(HashSet, CollectionContent, HashSetKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(HashSet, CollectionCopy, HashSetKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(HashSet, CollectionWalk, HashSetKinds);
INSTANTIATE_TYPED_TEST_SUITE_P(HashSet, CollectionModel, HashSetKinds);

} // namespace Kro::Test
