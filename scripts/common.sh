# Sourced by every script of this folder: the checkout as working folder, strict shell, all files below build/.
# shellcheck shell=bash
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

export PYTHONDONTWRITEBYTECODE=1
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
if command -v ccache >/dev/null; then
   export CCACHE_DIR="$root/build/.ccache"
   export CCACHE_NOHASHDIR=1 # release and installed-platform compile the same files in different folders
   export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

heading()
{
   printf '\n== %s ==\n' "$*"
}

die()
{
   printf '%s: %s\n' "${0##*/}" "$*" >&2
   exit 1
}

# configure <preset> [command to run cmake with]: quick where nothing has changed. Whether warnings are errors is the
# environment's word, said anew each time, so that no build folder remembers another answer.
configure()
{
   local preset=$1
   shift
   heading "configure $preset"
   "$@" cmake --preset "$preset" -Wno-deprecated "-DQUORVEL_WARNINGS_AS_ERRORS=${QUORVEL_WARNINGS_AS_ERRORS:-OFF}"
}

# build <preset> [target...]
build()
{
   local preset=$1
   shift
   configure "$preset" || return # a caller's condition may have switched off -e
   heading "build $preset${*:+: $*}"
   cmake --build --preset "$preset" ${1:+--target "$@"}
}
