# Stands in for find_package: each library that the project asks for becomes its headers alone, taken from the
# Linux system. Their folders are linked one by one, so that none of the system's other headers is in reach.

set(header_folder ${CMAKE_BINARY_DIR}/headers)

# headers_of(FOLDER...): makes #include <FOLDER/...> work.
function(headers_of)
  foreach(folder ${ARGN})
    find_path(found_${folder} ${folder} PATHS /usr/include /usr/include/x86_64-linux-gnu
              REQUIRED NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    file(MAKE_DIRECTORY ${header_folder})
    file(CREATE_LINK ${found_${folder}}/${folder} ${header_folder}/${folder} SYMBOLIC)
  endforeach()
endfunction()

function(header_target name)
  add_library(${name} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${name} SYSTEM INTERFACE ${header_folder})
endfunction()

# OpenSSL's headers lie in two folders of the same name.
function(openssl_headers)
  foreach(folder /usr/include /usr/include/x86_64-linux-gnu)
    file(GLOB headers ${folder}/openssl/*.h)
    file(COPY ${headers} DESTINATION ${header_folder}/openssl)
  endforeach()
endfunction()

macro(provide_headers method package)
  if("${package}" STREQUAL "Boost")
    headers_of(boost)
    foreach(part headers url)
      header_target(Boost::${part})
    endforeach()
  elseif("${package}" STREQUAL "CURL")
    headers_of(curl)
    header_target(CURL::libcurl)
  elseif("${package}" STREQUAL "ICU")
    headers_of(unicode)
    header_target(ICU::uc)
    header_target(ICU::i18n)
  elseif("${package}" STREQUAL "nlohmann_json")
    headers_of(nlohmann)
    header_target(nlohmann_json::nlohmann_json)
  elseif("${package}" STREQUAL "OpenSSL")
    openssl_headers()
    header_target(OpenSSL::SSL)
    header_target(OpenSSL::Crypto)
  elseif("${package}" STREQUAL "Threads")
    add_library(Threads::Threads INTERFACE IMPORTED GLOBAL)
  elseif("${package}" STREQUAL "PkgConfig")
    # For libplist, the one library that is found by it.
    function(pkg_check_modules)
      headers_of(plist)
      header_target(PkgConfig::libplist)
    endfunction()
  else()
    message(FATAL_ERROR "${package}: tests/macos/Packages.cmake does not know its headers")
  endif()
  set(${package}_FOUND ON)
endmacro()

cmake_language(SET_DEPENDENCY_PROVIDER provide_headers SUPPORTED_METHODS FIND_PACKAGE)
include_directories(SYSTEM ${CMAKE_CURRENT_LIST_DIR}/frameworks)
