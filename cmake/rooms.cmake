# A room of the daemon is a static library that links only the rooms below it, and whose headers can only be included
# by those who link it: each room's include directory holds a link to that one folder.
#   poe_room(controller SOURCES transport.cpp ... BELOW core)
function(poe_room name)
    cmake_parse_arguments(room "" "" "SOURCES;BELOW" ${ARGN})
    set(doorway ${CMAKE_BINARY_DIR}/doorways/${name})
    file(MAKE_DIRECTORY ${doorway})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${doorway}/${name} SYMBOLIC)
    add_library(poe_${name} STATIC ${room_SOURCES})
    target_include_directories(poe_${name} PUBLIC ${doorway})
    list(TRANSFORM room_BELOW PREPEND poe_)
    target_link_libraries(poe_${name} PUBLIC ${room_BELOW} PRIVATE poe_daemon_dialect)
    target_compile_features(poe_${name} PUBLIC cxx_std_20)
endfunction()
