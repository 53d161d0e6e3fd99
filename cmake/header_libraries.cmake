# Libraries that are headers only: CLI11::CLI11 and nlohmann_json::nlohmann_json.
if(CMAKE_CROSSCOMPILING)
    # The build machine's copies serve every machine, each alone: what else is in their folder is the build machine's.
    function(poe_header_library target folder)
        file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/header_libraries)
        file(CREATE_LINK /usr/include/${folder} ${CMAKE_BINARY_DIR}/header_libraries/${folder} SYMBOLIC)
        add_library(${target} INTERFACE IMPORTED GLOBAL)
        set_target_properties(${target} PROPERTIES
            INTERFACE_INCLUDE_DIRECTORIES ${CMAKE_BINARY_DIR}/header_libraries)
    endfunction()
    poe_header_library(CLI11::CLI11 CLI)
    poe_header_library(nlohmann_json::nlohmann_json nlohmann)
else()
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
endif()
