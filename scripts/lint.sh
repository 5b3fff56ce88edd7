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
cppcheck --quiet --std=c++20 --language=c++ --inline-suppr --error-exitcode=1 \
    --enable=warning,performance,portability -I src -I include -I programs -j "$(nproc)" src programs

echo "clang-tidy"
# It cannot read headers that another compiler has compiled.
cmake -S . -B build/lint -G Ninja -DBUILD_TESTING=OFF -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null
git ls-files 'src/*.cpp' 'programs/*.cpp' | xargs -n 2 -P "$(nproc)" clang-tidy -p build/lint --quiet

echo "shellcheck"
git ls-files '*.sh' .ci/run | xargs shellcheck --external-sources --source-path=SCRIPTDIR

echo "python"
git ls-files '*.py' | xargs python3 -m py_compile
