# find_package(poe_client): poe_client::poe_client is the shared library, poe_client::poe_client_static the other one.
include("${CMAKE_CURRENT_LIST_DIR}/poe_client-targets.cmake")
