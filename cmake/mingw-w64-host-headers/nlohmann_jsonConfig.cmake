include("${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake")
qtsifter_host_header_target(nlohmann_json::nlohmann_json nlohmann_json nlohmann)
