# What every target of ours is compiled with: the interface target tandemview::options.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(fmt REQUIRED)
find_package(tl-expected REQUIRED)
find_package(nlohmann_json REQUIRED)
set(TANDEMVIEW_FMT fmt::fmt)
if(APPLE)
  set(CMAKE_OBJCXX_STANDARD 20)
  set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
  set(CMAKE_OBJCXX_EXTENSIONS OFF)
  enable_language(OBJCXX)
  # The application bundle carries what macOS doesn't have.
  set(TANDEMVIEW_FMT fmt::fmt-header-only)
  set(CMAKE_FIND_LIBRARY_SUFFIXES .a .tbd .dylib)
endif()

add_library(tandemview_options INTERFACE)
add_library(tandemview::options ALIAS tandemview_options)
# Designated initialisers name what differs from the default and leave the rest out on purpose.
target_compile_options(tandemview_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                       -Woverloaded-virtual -Wno-missing-field-initializers)
if(APPLE)
  target_compile_options(tandemview_options INTERFACE $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
endif()
# Not for users: the next compiler or library has warnings that we don't know yet.
option(TANDEMVIEW_WERROR "Take warnings for errors" OFF)
if(TANDEMVIEW_WERROR)
  target_compile_options(tandemview_options INTERFACE -Werror)
endif()
# What would read an empty optional, a null pointer or beyond an array ends the program: bytes from outside are read here.
target_compile_definitions(tandemview_options INTERFACE _GLIBCXX_ASSERTIONS)
if(TANDEMVIEW_SANITIZE)
  add_compile_options(-fsanitize=${TANDEMVIEW_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TANDEMVIEW_SANITIZE})
  if(TANDEMVIEW_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC warns that TSan does not model fences; Asio and the standard library use some that no test depends on.
    target_compile_options(tandemview_options INTERFACE -Wno-tsan)
  endif()
endif()

# tandemview_room(NAME SOURCES... DEPENDS targets...): one static library for one room of src/.
# Its public dependencies are the rooms below it, so that an include from the wrong direction does not link.
function(tandemview_room NAME)
  cmake_parse_arguments(ROOM "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  add_library(tandemview_${NAME} STATIC ${ROOM_SOURCES})
  set_target_properties(tandemview_${NAME} PROPERTIES UNITY_BUILD_BATCH_SIZE 0) # one unit a room, where units are united
  add_library(tandemview::${NAME} ALIAS tandemview_${NAME})
  target_include_directories(tandemview_${NAME} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(tandemview_${NAME} PUBLIC ${ROOM_DEPENDS} PRIVATE tandemview::options ${ROOM_PRIVATE_DEPENDS})
endfunction()
