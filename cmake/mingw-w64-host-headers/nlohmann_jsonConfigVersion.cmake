# The build machine's own answer, which holds for any target: the library is header-only.
include(/usr/share/cmake/nlohmann_json/nlohmann_jsonConfigVersion.cmake)
