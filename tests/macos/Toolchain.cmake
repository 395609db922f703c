# Configures the project as on a Mac with processors of the kind ARCHITECTURE, in the environment, for compiling only:
# nothing is archived or linked, as the frameworks and Homebrew's libraries are not at hand.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 22)
set(CMAKE_SYSTEM_PROCESSOR $ENV{ARCHITECTURE})

set(CMAKE_CXX_COMPILER ${CMAKE_CURRENT_LIST_DIR}/zig-c++)
set(CMAKE_CXX_COMPILER_TARGET $ENV{ARCHITECTURE}-macos.13.0)
set(CMAKE_OBJCXX_COMPILER ${CMAKE_CURRENT_LIST_DIR}/objective-c++)
set(CMAKE_OBJCXX_COMPILER_ID GNU)
set(CMAKE_OBJCXX_COMPILER_ID_RUN ON)
set(CMAKE_OBJCXX_COMPILER_WORKS ON)
set(CMAKE_INSTALL_NAME_TOOL /bin/false)  # asked for, never run
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_CXX_COMPILER_WORKS ON)
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_OSX_DEPLOYMENT_TARGET "")
set(CCACHE "" CACHE FILEPATH "The compiler has a cache of its own")

set(CMAKE_CXX_CREATE_STATIC_LIBRARY "<CMAKE_COMMAND> -E touch <TARGET>")
set(CMAKE_CXX_LINK_EXECUTABLE "<CMAKE_COMMAND> -E touch <TARGET>")
