# Sourced by bench.sh and load.sh, from the repository root: installs what they need and sets
# $build to the build folder, ZTTSP_BUILD_DIR or the `linux` preset's build/linux, configured
# (RelWithDebInfo, benchmarks on) when it is not yet.
scripts/install-deps.sh base bench
build="${ZTTSP_BUILD_DIR:-build/linux}"
if [[ ! -f "$build/build.ninja" ]]; then
  if [[ "$build" == build/linux ]]; then
    cmake --preset linux
  else
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZTTSP_BUILD_BENCH=ON
  fi
fi
