# What every target of ours is built with.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

find_program(ORMO_CCACHE ccache)
if(ORMO_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ORMO_CCACHE}")
endif()

add_library(ormo_settings INTERFACE)
target_compile_options(ormo_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
if(ORMO_SANITIZE)
  target_compile_options(ormo_settings INTERFACE "-fsanitize=${ORMO_SANITIZE}" -fno-omit-frame-pointer)
  if(ORMO_SANITIZE MATCHES "undefined")
    target_compile_options(ormo_settings INTERFACE -fno-sanitize-recover=undefined)
  endif()
  target_link_options(ormo_settings INTERFACE "-fsanitize=${ORMO_SANITIZE}")
endif()
if(ORMO_FUZZ)
  target_compile_options(ormo_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()
