# Options that every target of the project shares.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Werror
    $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier> # at no cost, while clang-tidy's check is its dearest
    # Angles and focus positions are rounded alike on every processor, whether or not it can fuse a
    # multiplication with an addition.
    -ffp-contract=off)
if(CMAKE_UNITY_BUILD) # files compiled as one share what is in their unnamed namespaces
    target_compile_options(project_options INTERFACE -Wno-shadow)
endif()
target_compile_definitions(project_options INTERFACE
    _TIME_BITS=64 _FILE_OFFSET_BITS=64 _GLIBCXX_ASSERTIONS)

if(FIELDRELAYBOX_SANITIZE)
    # g++ 12 sees uninitialised values in std::regex when it is instrumented.
    target_compile_options(project_options INTERFACE
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_compile_options(project_options INTERFACE
        -fsanitize=${FIELDRELAYBOX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(project_options INTERFACE -fsanitize=${FIELDRELAYBOX_SANITIZE})
elseif(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    target_compile_definitions(project_options INTERFACE _FORTIFY_SOURCE=2)
    set(is_module "$<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>")
    # Where it was built does not show in a release.
    target_compile_options(project_options INTERFACE -fstack-protector-strong
        $<$<NOT:${is_module}>:-fPIE> "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.")
    target_link_options(project_options INTERFACE $<$<NOT:${is_module}>:-pie> -Wl,-z,relro,-z,now)
endif()
