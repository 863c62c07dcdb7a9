# Toolchain for checking the macOS application on Linux: clang, lld and LLVM's tools with an SDK tree. It compiles and
# links, and shows nothing of how the result behaves. See packaging/macos/check.sh, which uses it.
#   MACOS_SDK      the SDK tree (also from the environment)
#   MACOS_ARCH     arm64 or x86_64; one build each, because LLVM's archiver keeps no index of universal objects
#   MACOS_LIBRARIES  where the headers and stubs of the libraries are that macOS doesn't have
#   MACOS_LLVM     version suffix of the tools
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 23.0) # of macOS 14

set(MACOS_SDK "$ENV{MACOS_SDK}" CACHE PATH "macOS SDK tree")
set(MACOS_ARCH arm64 CACHE STRING "Architecture: arm64 or x86_64")
set(MACOS_LIBRARIES "" CACHE PATH "Prefix of the libraries that macOS doesn't have")
set(MACOS_LLVM 19 CACHE STRING "Version suffix of the LLVM tools")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MACOS_SDK MACOS_ARCH MACOS_LIBRARIES MACOS_LLVM)
if(NOT EXISTS "${MACOS_SDK}/SDKSettings.json")
  message(FATAL_ERROR "MACOS_SDK is no macOS SDK: '${MACOS_SDK}'")
endif()

set(CMAKE_SYSTEM_PROCESSOR ${MACOS_ARCH})
set(CMAKE_OSX_ARCHITECTURES ${MACOS_ARCH} CACHE STRING "" FORCE)
set(CMAKE_OSX_DEPLOYMENT_TARGET 14.0 CACHE STRING "")
set(CMAKE_OSX_SYSROOT ${MACOS_SDK} CACHE PATH "" FORCE)

foreach(language C OBJC)
  set(CMAKE_${language}_COMPILER /usr/bin/clang-${MACOS_LLVM})
  set(CMAKE_${language}_COMPILER_TARGET ${MACOS_ARCH}-apple-macos14.0)
endforeach()
foreach(language CXX OBJCXX)
  set(CMAKE_${language}_COMPILER /usr/bin/clang++-${MACOS_LLVM})
  set(CMAKE_${language}_COMPILER_TARGET ${MACOS_ARCH}-apple-macos14.0)
endforeach()
foreach(tool ar ranlib nm strip objdump otool install-name-tool)
  string(TOUPPER ${tool} variable)
  string(REPLACE "-" "_" variable ${variable})
  set(CMAKE_${variable} /usr/bin/llvm-${tool}-${MACOS_LLVM} CACHE FILEPATH "" FORCE)
endforeach()
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld -Wl,-adhoc_codesign")

# What is installed on this machine is for this machine.
set(CMAKE_FIND_ROOT_PATH ${MACOS_SDK} ${MACOS_LIBRARIES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
