#pragma once

namespace Quorvel::Core::Test {

/// A life of random steps, each looked at: mounts, orphans, adoptions, clean-ups, refusals and writes below three managers. The
/// environment says LIFE_SEED, LIFE_STEPS, and whether it ends by SIGKILL (LIFE_IS_KILLED, 0 or 1), wherever it is then. What
/// it has written it notes in a file, for the next one.
void randomLife();

} // namespace Quorvel::Core::Test
