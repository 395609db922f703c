# What every target is compiled with, and where its result lies. The build tree mirrors an install, so that
# a program finds its companions relative to itself in both.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

include(GNUInstallDirs)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
if(APPLE)
  set(FERRIN_BUNDLE "Ferrin Relay.app")
  set(FERRIN_LIBEXECDIR "${FERRIN_BUNDLE}/Contents/Helpers")
  set(FERRIN_DATADIR "${FERRIN_BUNDLE}/Contents/Resources")
else()
  set(FERRIN_LIBEXECDIR libexec/ferrin-relay)
  set(FERRIN_DATADIR share/ferrin-relay)
endif()

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

include(CheckPIESupported)
check_pie_supported()

add_library(ferrin_warnings INTERFACE)
target_compile_options(ferrin_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
  -Woverloaded-virtual -Wimplicit-fallthrough -Wcast-qual
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)  # GCC 12 sees overlaps in the standard library's own strings

# What a distribution builds with, so that a packaged program is as hard to abuse as its neighbours. Which of these a
# compiler has depends on its processor and age.
add_compile_options(-fstack-protector-strong $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
if(NOT APPLE)
  add_link_options(-Wl,-z,relro,-z,now)
  include(CheckCXXCompilerFlag)
  foreach(option -fcf-protection -mbranch-protection=standard -ftrivial-auto-var-init=zero)
    string(MAKE_C_IDENTIFIER FERRIN_HAS${option} is_known)
    check_cxx_compiler_flag(${option} ${is_known})
    if(${is_known})
      add_compile_options($<$<CONFIG:Release>:${option}>)
    endif()
  endforeach()
endif()

# Symbols for backtraces with lines, which become a package of their own. Without the folder's name in them the same
# sources give the same bytes. ccache may be set up to make names relative to the build tree, which is met too.
file(RELATIVE_PATH up ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
string(REGEX REPLACE "/$" "" up "${up}")
add_compile_options($<$<CONFIG:Release>:-g1>)
foreach(map ${PROJECT_SOURCE_DIR}=. ${up}=. ${PROJECT_BINARY_DIR}/=)
  add_compile_options($<$<CONFIG:Release>:-ffile-prefix-map=${map}>)
endforeach()

if(FERRIN_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# ferrin_library(NAME SOURCE...): one static library per folder. Headers are included from the root, by folder:
# "core/Locations.h".
function(ferrin_library name)
  add_library(${name} STATIC ${ARGN})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ferrin_warnings)
endfunction()
