#!/bin/sh
# lint.sh: includes, formatting, clang-tidy, cppcheck, shellcheck and Python over the whole tree,
# warnings as errors.
set -eu
cd "$(dirname "$0")/.."

echo "includes"
scripts/check_includes.py

sources=$(git ls-files '*.cpp' '*.h')
echo "clang-format"
# shellcheck disable=SC2086 # file names of this project have no blanks
clang-format --dry-run --Werror $sources

echo "cppcheck"
cppcheck --quiet --std=c++20 --language=c++ --inline-suppr --error-exitcode=1 "-DG_DEFINE_TYPE(a,b,c)=" \
    --enable=warning,performance,portability -I src -I include -I programs -j "$(nproc)" src programs

# Neither can read headers that another compiler has compiled.
configure() {
    cmake -S . -B "$1" -G Ninja -DBUILD_TESTING=OFF -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON \
        -DCMAKE_UNITY_BUILD="$2" -DCMAKE_UNITY_BUILD_BATCH_SIZE=12 >/dev/null
}

echo "clang's analyzer" # looks into the files that it is given, not into what they include
configure build/lint/single OFF
git ls-files 'src/*.cpp' 'programs/*.cpp' |
    xargs -n 4 -P "$(nproc)" clang-tidy -p build/lint/single --quiet --checks='-*,clang-analyzer-*'

echo "clang-tidy" # a dozen files as one: most of its time goes into the headers that they share
configure build/lint/joined ON
find build/lint/joined -name 'unity_*.cxx' -print0 |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy -p build/lint/joined --quiet --extra-arg=-Wno-shadow \
        --checks='-clang-analyzer-*,-bugprone-suspicious-include'

echo "shellcheck"
git ls-files '*.sh' .ci/run | xargs shellcheck --external-sources --source-path=SCRIPTDIR

echo "python"
git ls-files '*.py' | xargs python3 -m py_compile
