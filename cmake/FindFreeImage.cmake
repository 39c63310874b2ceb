# Finds FreeImage and its C++ wrapper (FreeImagePlus), which ship no CMake configuration on Debian.
# Defines the imported targets FreeImage::FreeImage and FreeImage::FreeImagePlus.
find_path(FreeImage_INCLUDE_DIR FreeImage.h)
find_path(FreeImagePlus_INCLUDE_DIR FreeImagePlus.h)
find_library(FreeImage_LIBRARY NAMES freeimage FreeImage)
find_library(FreeImagePlus_LIBRARY NAMES freeimageplus FreeImagePlus)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(FreeImage
  REQUIRED_VARS FreeImage_LIBRARY FreeImage_INCLUDE_DIR FreeImagePlus_LIBRARY FreeImagePlus_INCLUDE_DIR)

if(FreeImage_FOUND AND NOT TARGET FreeImage::FreeImage)
  add_library(FreeImage::FreeImage UNKNOWN IMPORTED)
  set_target_properties(FreeImage::FreeImage PROPERTIES
    IMPORTED_LOCATION "${FreeImage_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${FreeImage_INCLUDE_DIR}")
  add_library(FreeImage::FreeImagePlus UNKNOWN IMPORTED)
  set_target_properties(FreeImage::FreeImagePlus PROPERTIES
    IMPORTED_LOCATION "${FreeImagePlus_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${FreeImagePlus_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES FreeImage::FreeImage)
endif()
mark_as_advanced(FreeImage_INCLUDE_DIR FreeImagePlus_INCLUDE_DIR FreeImage_LIBRARY FreeImagePlus_LIBRARY)
