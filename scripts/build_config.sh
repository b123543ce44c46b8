# Sourced by demo.sh and test.sh: one build directory and one set of compile flags, so that running
# one after the other rebuilds nothing that the first built. Only which parts are configured
# differs (the demo leaves out the tests and benchmarks and the packages they need).
vorn_build_dir=build
vorn_cmake_args=(-G Ninja -DVORN_WERROR=ON)

vorn_jobs=${VORN_JOBS:-$(nproc)}
