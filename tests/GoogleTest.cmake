# Where GoogleTest comes from.
find_package(GTest REQUIRED)
include(GoogleTest)
