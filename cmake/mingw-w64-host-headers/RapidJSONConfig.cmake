include("${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake")
qtsifter_host_headers(RAPIDJSON_INCLUDE_DIRS RapidJSON rapidjson)
