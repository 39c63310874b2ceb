# Finds FreeImage's header. The library itself is opened at run time, on first use, so nothing
# links it (see src/image/freeimage.cpp); FreeImage_LIBRARY is only checked for presence.
find_path(FreeImage_INCLUDE_DIR FreeImage.h)
find_library(FreeImage_LIBRARY NAMES freeimage FreeImage)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(FreeImage REQUIRED_VARS FreeImage_LIBRARY FreeImage_INCLUDE_DIR)
mark_as_advanced(FreeImage_INCLUDE_DIR FreeImage_LIBRARY)
