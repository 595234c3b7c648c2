#include <Orvo/Node.h>

namespace Orvo {

Node::~Node() = default;

void Node::lastUserGone()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   delete this;
}

Publisher* Node::publisher() const noexcept
{
   return nullptr;
}

void Node::nodeFlagSet(std::uint32_t flag, bool value) noexcept
{
   useCount_.flagSet(flag, value);
}

} // namespace Orvo
