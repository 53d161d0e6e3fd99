# The daemon's rooms in a process of the benchmark's: costs that a socket would drown.
set(rooms $<LINK_GROUP:RESCAN,poe_supervision,poe_stats,poe_bringup,poe_ipc> poe_system)

add_library(bench_inside STATIC inside/device.cpp inside/daemon.cpp)
target_include_directories(bench_inside PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(bench_inside PUBLIC poe_build ${rooms})
# One thread plays the controller's user and the server in turn.
target_compile_options(bench_inside PUBLIC $<$<CXX_COMPILER_ID:Clang>:-Wno-thread-safety-analysis>)

# Linked as the daemon is.
bench_program(inside/sweep inside/sweep.cpp LINKS bench_inside poe_self_contained)
bench_program(inside/queue inside/queue.cpp LINKS bench_inside poe_self_contained)

# Each function as it stands in its file, so that a path's count changes with the code of that path only.
include(CheckIncludeFileCXX)
check_include_file_cxx(valgrind/callgrind.h POE_HAS_CALLGRIND)
if(POE_HAS_CALLGRIND)
    bench_program(inside/paths inside/paths.cpp LINKS bench_inside)
    target_link_options(bench_inside_paths PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-lto>)
endif()

# The daemon's libraries too, though nothing of them is called.
set(daemon_libraries -Wl,--push-state,--no-as-needed libpoe_ipc link_mon_intf OrvCom -Wl,--pop-state)
foreach(name three_threads start)
    bench_program(floor/${name} floor/${name}.cpp LINKS poe_daemon_dialect poe_self_contained ${daemon_libraries})
endforeach()

bench_program(load/timed_exec load/timed_exec.cpp LINKS poe_build)
target_link_options(bench_load_timed_exec PRIVATE -static)
bench_program(load/first_answer load/first_answer.cpp LINKS poe_build)
add_library(bench_no_pauses SHARED load/no_pauses.cpp)
set_target_properties(bench_no_pauses PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/load OUTPUT_NAME no_pauses)
target_link_libraries(bench_no_pauses PRIVATE poe_daemon_dialect)
add_dependencies(bench_programs bench_no_pauses)
