include("${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake")
qtsifter_host_header_target(CLI11::CLI11 CLI11 CLI)
