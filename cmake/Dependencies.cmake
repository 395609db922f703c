# Third-party libraries. Each has one owner among the targets, which links it PRIVATE.

find_package(Boost 1.74 CONFIG REQUIRED)
find_package(CURL 7.87 REQUIRED)
find_package(ICU 70 REQUIRED COMPONENTS uc i18n)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(OpenSSL 3 REQUIRED)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(libzstd REQUIRED IMPORTED_TARGET libzstd>=1.4)
pkg_check_modules(libplist REQUIRED IMPORTED_TARGET libplist-2.0>=2.2)

if(FERRIN_GUI)
  find_package(Qt6 6.4 REQUIRED COMPONENTS Svg Widgets)
  if(NOT APPLE)
    find_package(Qt6 6.4 REQUIRED COMPONENTS DBus)
    pkg_check_modules(xcb REQUIRED IMPORTED_TARGET xcb)
  endif()
endif()
