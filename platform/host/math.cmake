# The libraries that need no service: arithmetic, files and the main loop.
pkg_check_modules(POLYCLIPPING REQUIRED IMPORTED_TARGET polyclipping)

platform_library(geometry geometry/gm.cpp geometry/predicates.cpp geometry/clip.cpp geometry/area.cpp
                 LINK PkgConfig::POLYCLIPPING)
only_exports(geometry gm_)

platform_library(fixmath fixmath/fixmath.cpp)
only_exports(fixmath fx_)

inner_library(ptzmath_pinhole ptzmath/pinhole.cpp)
target_include_directories(ptzmath_pinhole PRIVATE ${PROJECT_SOURCE_DIR})
platform_library(ptzmath ptzmath/ptzmath.cpp ptzmath/mounting.cpp
                 LINK ptzmath_pinhole platform::ovparameter PkgConfig::GLIB)
only_exports(ptzmath ptzmath_)

platform_library(confutils confutils/confutils.cpp confutils/temporary_file.cpp
                 LINK PkgConfig::GLIB)
only_exports(confutils confutils_)

platform_library(glib-utils glib-utils/mainloop.cpp LINK PkgConfig::GLIB)
only_exports(glib-utils mainloop_)
