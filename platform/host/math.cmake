# The libraries that need no service: arithmetic, files and the main loop.
pkg_check_modules(POLYCLIPPING REQUIRED IMPORTED_TARGET polyclipping)

platform_library(geometry geometry/gm.cpp geometry/predicates.cpp geometry/clip.cpp geometry/area.cpp
                 LINK PkgConfig::POLYCLIPPING)
platform_library(fixmath fixmath/fixmath.cpp)
platform_library(ptzmath ptzmath/ptzmath.cpp ptzmath/pinhole.cpp ptzmath/mounting.cpp
                 LINK platform::ovparameter PkgConfig::GLIB)
platform_library(confutils confutils/confutils.cpp confutils/temporary_file.cpp
                 LINK PkgConfig::GLIB)
platform_library(glib-utils glib-utils/mainloop.cpp LINK PkgConfig::GLIB)
