#!/bin/sh
# lint.sh: includes, commands of the pages, formatting, clang-tidy, cppcheck, shellcheck and Python over the whole
# tree, types and eslint over the page, warnings as errors.
set -eu
cd "$(dirname "$0")/.."

echo "includes"
scripts/check_includes.py

echo "commands of the pages"
scripts/check_commands.py

sources=$(git ls-files '*.cpp' '*.h')
echo "clang-format"
# shellcheck disable=SC2086 # file names of this project have no blanks
clang-format --dry-run --Werror $sources

echo "cppcheck"
cppcheck --quiet --std=c++20 --language=c++ --inline-suppr --error-exitcode=1 "-DG_DEFINE_TYPE(a,b,c)=" \
    --enable=warning,performance,portability -I src -I include -I programs -j "$(nproc)" src programs

# A dozen files as one: most of the time goes into the headers that they share. The analyzer looks into files
# that are included, besides headers, only from one that is called UnifiedSource; of each function it follows
# a seventh of the paths that it would (a quarter of the time).
echo "clang-tidy and clang's analyzer"
joined=build/lint/joined
cmake -S . -B $joined -G Ninja -DBUILD_TESTING=OFF -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON \
    -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12 >/dev/null
sed -i 's#/unity_#/UnifiedSource_#g' $joined/compile_commands.json
find $joined -name 'UnifiedSource_*.cxx' -delete
find $joined -name 'unity_*.cxx' | while read -r file; do
    cp "$file" "$(dirname "$file")/UnifiedSource_${file##*/unity_}"
done
find $joined -name 'UnifiedSource_*.cxx' -print0 |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy -p $joined --quiet --extra-arg=-Wno-shadow \
        --checks='-bugprone-suspicious-include' \
        --extra-arg=-Xclang --extra-arg=-analyzer-config --extra-arg=-Xclang --extra-arg=max-nodes=32000

echo "page"
scripts/install_page_modules.sh
npm --prefix page run --silent check

echo "shellcheck"
git ls-files '*.sh' .ci/run | xargs shellcheck --external-sources --source-path=SCRIPTDIR

echo "python"
git ls-files '*.py' | xargs python3 -m py_compile

echo "faults that tests must catch: each can be planted"
scripts/mutants.py --check
