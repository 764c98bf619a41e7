# Sourced by the build scripts: compile through ccache when it is installed,
# so that a second build of an unchanged file costs nothing. Paths are taken
# relative to the checkout, so another checkout of the same commit hits too.
if command -v ccache >/dev/null 2>&1; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$PWD}" CCACHE_NOHASHDIR=1
fi
