#include <Kro/RbTreeMapGeneric.h>

#include <Orvo/Assert.h>

namespace Kro {

void RbTreeMapGeneric::assertDupKey()
{
   Orvo::assertionFailed("duplicate key in an ordered map", __FILE__, __LINE__);
}

void RbTreeMapGeneric::assertMemberTwice()
{
   Orvo::assertionFailed("element is already a member of an ordered collection", __FILE__, __LINE__);
}

} // namespace Kro
