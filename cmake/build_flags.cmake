# Every compiler and linker flag of the project is here, carried by three interface targets.

# What is built without a choice may be shipped: checked libc calls, for one, need an optimised build.
get_property(chosen_while_building GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(NOT CMAKE_BUILD_TYPE AND NOT chosen_while_building)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, RelWithDebInfo, MinSizeRel or Debug" FORCE)
endif()

include(CTest)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET default)

# A tree installed under any prefix finds its own libraries.
set(CMAKE_INSTALL_LIBDIR lib)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")

set(POE_SANITIZE "" CACHE STRING "Sanitizers for everything but the preload library: address,undefined or thread")
option(POE_COVERAGE "Build with clang's source-based coverage" OFF)
option(POE_FUZZ "Build the fuzz targets as libFuzzer programs" OFF)

add_library(poe_build INTERFACE)
target_compile_features(poe_build INTERFACE cxx_std_20)
set(clang_19 $<AND:$<CXX_COMPILER_ID:Clang>,$<VERSION_GREATER_EQUAL:$<CXX_COMPILER_VERSION>,19>>)
target_compile_options(poe_build INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
    "$<$<CXX_COMPILER_ID:Clang>:-Wthread-safety;-Wthread-safety-beta>"
    # g++ 12 wrongly sees overlapping copies inside `"text" + std::string(...)`.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    # clang 19 blames us for what g++ 12's own stable_sort calls, and a test for handing out a record that it guards.
    "$<${clang_19}:-Wno-deprecated-declarations;-Wno-thread-safety-reference-return>")
# A 32-bit machine counts seconds and file sizes in 64 bits, too.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_definitions(poe_build INTERFACE _TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()

# Sanitizers and coverage apart from poe_build, because the preload library must load into uninstrumented shells too.
add_library(poe_instrumented INTERFACE)
if(POE_SANITIZE)
    target_compile_options(poe_instrumented INTERFACE
        -fsanitize=${POE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(poe_instrumented INTERFACE -fsanitize=${POE_SANITIZE})
    if(POE_SANITIZE STREQUAL thread)
        target_sources(poe_instrumented INTERFACE
            $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${PROJECT_SOURCE_DIR}/cmake/thread_sanitizer_options.cpp>)
    endif()
endif()
if(POE_FUZZ)
    target_compile_options(poe_instrumented INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(POE_COVERAGE)
    # The daemon never ends by itself. So the counters live in a mapped file (%c), one a program for all of its runs (%m),
    # which holds what was counted however a process ends. Threads and processes count there together, so atomically: a
    # branch that was not taken is only known as a difference of counts.
    set(profiles -fprofile-instr-generate=${CMAKE_BINARY_DIR}/profiles/%c%m.profraw)
    target_compile_options(poe_instrumented INTERFACE
        ${profiles} -fcoverage-mapping -fprofile-update=atomic "SHELL:-mllvm -runtime-counter-relocation")
    target_link_options(poe_instrumented INTERFACE ${profiles})
endif()

# What runs as root for years: full RELRO, immediate binding, stack protector, checked libc calls. (The linker leaves the
# table of functions writable on MIPS: docs/security.md.)
add_library(poe_hardened INTERFACE)
target_compile_options(poe_hardened INTERFACE -fstack-protector-strong)
target_link_options(poe_hardened INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
if(NOT POE_SANITIZE)
    target_compile_options(poe_hardened INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
                                                  $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()

# The daemon's own dialect: no exceptions, no run-time type information, and nothing of the C++ library at run time.
add_library(poe_daemon_dialect INTERFACE)
target_compile_options(poe_daemon_dialect INTERFACE -fno-exceptions -fno-rtti -fno-threadsafe-statics)
# What is shipped is small: -O3 would make it a sixth larger. Nobody unwinds these stacks at run time; a debugger has the
# debug information's own tables, a sanitizer's report does unwind.
set(shipped $<NOT:$<CONFIG:Debug,RelWithDebInfo>>)
target_compile_options(poe_daemon_dialect INTERFACE -ffunction-sections -fdata-sections $<$<CONFIG:Release>:-O2>)
if(NOT POE_SANITIZE AND NOT POE_COVERAGE)
    target_compile_options(poe_daemon_dialect INTERFACE -fno-asynchronous-unwind-tables -fno-unwind-tables)
endif()
# The rooms are fitted into one another when the daemon is linked, which takes more than half off what a sweep adds to a
# cheap system call. The objects hold finished code too, for programs that want each function as it stands in its file.
set(fitted $<AND:${shipped},$<CXX_COMPILER_ID:GNU>>)
target_compile_options(poe_daemon_dialect INTERFACE "$<${fitted}:-flto=auto;-ffat-lto-objects>")
target_link_libraries(poe_daemon_dialect INTERFACE poe_build poe_instrumented poe_hardened)

# For the programs and shared libraries in that dialect: the compiler's own arithmetic, such as 64-bit division on a
# 32-bit machine, goes into them, not into one more library that the switch must have.
add_library(poe_self_contained INTERFACE)
target_link_options(poe_self_contained INTERFACE LINKER:--as-needed $<${fitted}:-flto=auto>)
if(NOT POE_SANITIZE)
    target_link_options(poe_self_contained INTERFACE -static-libgcc)
endif()
if(NOT POE_COVERAGE)
    target_link_options(poe_self_contained INTERFACE LINKER:--gc-sections)
endif()

# Around the daemon, nearly all of the time goes into what every file makes of the JSON library, the test framework and others
# again. Some files at once take a third of it, and few enough of them keep every processor busy.
option(POE_IN_BATCHES "Compile what is around the daemon some files at a time, for a build in which nobody edits it" OFF)
function(poe_compiled_in_batches target)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ${POE_IN_BATCHES} UNITY_BUILD_BATCH_SIZE 8)
endfunction()
