# Shared by the scripts: configure and build one build directory.
# build_tree DIR [cmake args...]; builds everything, or only the targets named
# (space-separated) in NORVANE_BUILD_TARGETS.
build_tree() {
  local dir=$1; shift
  local launcher=()
  if command -v ccache >/dev/null; then
    export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
  fi
  cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" "$@" >/dev/null
  local targets=()
  for target in ${NORVANE_BUILD_TARGETS:-}; do targets+=(--target "$target"); done
  cmake --build "$dir" -j"${NORVANE_JOBS:-2}" "${targets[@]}"
}
