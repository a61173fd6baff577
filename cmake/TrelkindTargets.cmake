# The few kinds of target that the house knows. Each folder names its sources and what it stands on; the
# flags are settled here once.

add_library(trelkind_flags INTERFACE)
target_compile_options(trelkind_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3 it sees overlaps in the library's own concatenation of texts.
    target_compile_options(trelkind_flags INTERFACE $<$<CONFIG:Release>:-Wno-restrict>)
endif()
if(TRELKIND_WERROR)
    target_compile_options(trelkind_flags INTERFACE -Werror)
endif()
if(TRELKIND_SANITIZE)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # With the sanitizers' checks in between, the compiler loses track of what std::function has set.
        target_compile_options(trelkind_flags INTERFACE -Wno-maybe-uninitialized)
    endif()
    add_compile_options(-fsanitize=${TRELKIND_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${TRELKIND_SANITIZE})
endif()
if(TRELKIND_FUZZERS)
    # Everything below a fuzz target reports its coverage, so that the fuzzer can see into it.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# trelkind_library(NAME SOURCES file... [LINKS target...] [PRIVATE_LINKS target...])
function(trelkind_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE ${ARG_PRIVATE_LINKS} $<BUILD_INTERFACE:trelkind_flags>)
endfunction()

# trelkind_program(NAME SOURCES file... [LINKS target...])
function(trelkind_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} trelkind_flags)
endfunction()

# trelkind_test(NAME SOURCES file... [LINKS target...] [TIMEOUT seconds] [THREADS filter] [ENVIRONMENT VAR=value])
# The tests are found when CTest runs, so that a build never executes anything. Those that must pass under the
# thread sanitizer bear the label "threads": the filter tells which, "*" for all of the suite.
function(trelkind_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT;THREADS;ENVIRONMENT" "SOURCES;LINKS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set(properties TIMEOUT ${ARG_TIMEOUT})
    if(ARG_ENVIRONMENT)
        list(APPEND properties ENVIRONMENT ${ARG_ENVIRONMENT})
    endif()
    find_package(GTest REQUIRED)
    include(GoogleTest)
    trelkind_program(${name} SOURCES ${ARG_SOURCES} LINKS ${ARG_LINKS} GTest::gmock GTest::gtest_main)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    set(discovery DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
    if(NOT ARG_THREADS STREQUAL "*")
        gtest_discover_tests(${name} ${discovery} TEST_FILTER "-${ARG_THREADS}" PROPERTIES ${properties})
    endif()
    if(ARG_THREADS)
        gtest_discover_tests(${name} ${discovery} TEST_FILTER "${ARG_THREADS}"
            PROPERTIES ${properties} LABELS threads)
        set_property(GLOBAL APPEND PROPERTY TRELKIND_THREAD_TESTS ${name})
    endif()
endfunction()

# trelkind_find_qt(): sets TRELKIND_HAS_QT where the windows can be built. Qt's own libraries are not made for the
# thread sanitizer, which would report them instead of us.
macro(trelkind_find_qt)
    set(TRELKIND_HAS_QT OFF)
    if(NOT TRELKIND_SANITIZE MATCHES "thread")
        find_package(Qt6 COMPONENTS Widgets QUIET)
        set(TRELKIND_HAS_QT ${Qt6_FOUND})
    endif()
endmacro()

# trelkind_benchmark(NAME SOURCES file... [LINKS target...])
function(trelkind_benchmark name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    find_package(benchmark REQUIRED)
    trelkind_program(${name} SOURCES ${ARG_SOURCES} LINKS ${ARG_LINKS} benchmark::benchmark)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/benchmarks)
endfunction()

# trelkind_fuzzer(NAME SOURCES file... [LINKS target...]): a libFuzzer program; its seeds lie in
# fuzz/corpus/NAME.
function(trelkind_fuzzer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    trelkind_program(${name} SOURCES ${ARG_SOURCES} LINKS ${ARG_LINKS})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set_property(GLOBAL APPEND PROPERTY TRELKIND_FUZZERS ${name})
endfunction()

# trelkind_folders(FOLDER...): adds each folder that has come so far.
function(trelkind_folders)
    foreach(folder IN LISTS ARGN)
        if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/CMakeLists.txt)
            add_subdirectory(${folder})
        endif()
    endforeach()
endfunction()
