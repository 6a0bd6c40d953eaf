# The libraries of others that the command and the tests use: CLI11, nlohmann/json and GoogleTest, by the names
# of their packages' targets. And zlib, which the library beside the core is over.
#
# A build for another machine than this one (CMAKE_CROSSCOMPILING: Windows, 32-bit Linux) cannot link the host's
# GoogleTest, and must not see /usr/include behind the compiler's own headers. It takes the two that are headers
# only through links in the build tree, and builds GoogleTest from its installed sources.
set(ORVKIT_GTEST_SOURCE /usr/src/googletest/googletest CACHE PATH "GoogleTest's sources, for builds for another machine")

function(orvkit_link_host_headers target folder header)
  find_path(${folder}_host_include ${header} REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  set(links ${PROJECT_BINARY_DIR}/host_headers/${folder})
  file(MAKE_DIRECTORY ${links})
  file(CREATE_LINK ${${folder}_host_include}/${folder} ${links}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${links})
endfunction()

# ORVKIT_ZLIB is a target to link, or empty: without zlib, or with that of another machine alone. On Windows it is
# linked in, as the C++ runtime is.
macro(orvkit_find_zlib)
  if(WIN32)
    find_library(ZLIB_LIBRARY NAMES libz.a)
  elseif(CMAKE_CROSSCOMPILING)
    find_library(ZLIB_LIBRARY NAMES z PATHS /usr/lib32 NO_DEFAULT_PATH)
  endif()
  find_package(ZLIB QUIET)
  set(ORVKIT_ZLIB "")
  if(ZLIB_FOUND)
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_LIBRARIES ZLIB::ZLIB)
    check_cxx_source_compiles("#include <zlib.h>\nint main() { return zlibVersion() == nullptr; }" ORVKIT_ZLIB_LINKS)
    unset(CMAKE_REQUIRED_LIBRARIES)
    if(ORVKIT_ZLIB_LINKS)
      set(ORVKIT_ZLIB ZLIB::ZLIB)
    endif()
  endif()
endmacro()

# ORVKIT_<name> becomes a target to link, or empty: the codecs' libraries are those of this machine alone.
macro(orvkit_find_codec name header library)
  set(ORVKIT_${name} "")
  if(NOT CMAKE_CROSSCOMPILING)
    find_path(ORVKIT_${name}_INCLUDE ${header} PATH_SUFFIXES ${ARGN})
    find_library(ORVKIT_${name}_LIBRARY ${library})
    if(ORVKIT_${name}_INCLUDE AND ORVKIT_${name}_LIBRARY)
      set(ORVKIT_${name} orvkit_codec_${library})
      add_library(orvkit_codec_${library} UNKNOWN IMPORTED GLOBAL)
      set_target_properties(orvkit_codec_${library} PROPERTIES IMPORTED_LOCATION ${ORVKIT_${name}_LIBRARY}
                            INTERFACE_INCLUDE_DIRECTORIES ${ORVKIT_${name}_INCLUDE})
    endif()
  endif()
endmacro()

# ORVKIT_OPENSSL is a target to link, or empty: without OpenSSL 3, and for another machine than this one.
macro(orvkit_find_openssl)
  set(ORVKIT_OPENSSL "")
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(OpenSSL 3 QUIET)
    if(OPENSSL_FOUND)
      set(ORVKIT_OPENSSL OpenSSL::SSL)
    endif()
  endif()
endmacro()

macro(orvkit_find_cli11)
  if(CMAKE_CROSSCOMPILING)
    orvkit_link_host_headers(CLI11::CLI11 CLI CLI/CLI.hpp)
  else()
    find_package(CLI11 REQUIRED)
  endif()
endmacro()

macro(orvkit_find_json)
  if(TARGET nlohmann_json::nlohmann_json)
  elseif(CMAKE_CROSSCOMPILING)
    orvkit_link_host_headers(nlohmann_json::nlohmann_json nlohmann nlohmann/json.hpp)
  else()
    find_package(nlohmann_json REQUIRED)
  endif()
endmacro()

macro(orvkit_find_gtest)
  if(CMAKE_CROSSCOMPILING)
    find_package(Threads REQUIRED)
    add_library(orvkit_gtest STATIC EXCLUDE_FROM_ALL ${ORVKIT_GTEST_SOURCE}/src/gtest-all.cc)
    target_include_directories(orvkit_gtest SYSTEM PUBLIC ${ORVKIT_GTEST_SOURCE}/include
                                                   PRIVATE ${ORVKIT_GTEST_SOURCE})
    target_link_libraries(orvkit_gtest PUBLIC Threads::Threads)
    add_library(orvkit_gtest_main STATIC EXCLUDE_FROM_ALL ${ORVKIT_GTEST_SOURCE}/src/gtest_main.cc)
    target_link_libraries(orvkit_gtest_main PUBLIC orvkit_gtest)
    add_library(GTest::gtest ALIAS orvkit_gtest)
    add_library(GTest::gtest_main ALIAS orvkit_gtest_main)
  else()
    find_package(GTest REQUIRED)
  endif()
endmacro()
