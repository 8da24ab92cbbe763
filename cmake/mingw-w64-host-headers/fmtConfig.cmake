# Header-only, so that no library built for the build machine is linked.
include("${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake")
qtsifter_host_header_target(fmt::fmt fmt fmt)
set_property(TARGET fmt::fmt PROPERTY INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY=1)
