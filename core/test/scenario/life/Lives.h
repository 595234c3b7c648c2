#pragma once

#include "scenario/life/Cast.h"

#include <string>

namespace Quorvel::Core::Test {

/// The lives of the story's agent, each in a process of its own. What goes wrong is on the standard output; otherwise nothing.
/// @{

/// Begins, and dies in the middle of a write.
void firstLife();
/// Comes back, and tidies up.
void secondLife();
/// Begins beside the second.
void neighboursLife();
/// Comes back once more, clears all memory, and leaves without tidying up.
void lastLife();
/// @}

/// Loads the plugins of the family, and makes the agent with the path that its template gives.
Agent born();

/// What the lives of an agent tell each other: a file beside the domain.
std::string notes();

} // namespace Quorvel::Core::Test
