# How the libraries of this house are made, and the standard headers that are read once for many files.

# orvkit_standard_headers(TARGET [HEADER...]): makes a target that does nothing but precompile the standard headers that
# the house includes most, and what is named: the fewer, the faster each file reads them. A file means the same
# with and without, and what it forgets to include is found by the builds without.
function(orvkit_standard_headers target)
  file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp CONTENT "")
  add_library(${target} OBJECT EXCLUDE_FROM_ALL ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
  target_link_libraries(${target} PRIVATE orvkit_build)
  target_precompile_headers(${target} PRIVATE <algorithm> <array> <cstring> <memory> <span> <string> <string_view>
                            <vector> ${ARGN})
endfunction()

# orvkit_precompile(TARGET HEADERS): TARGET takes them from HEADERS, which is compiled with the same flags and no
# definitions that TARGET has not.
function(orvkit_precompile target headers)
  if(TARGET ${headers})
    target_precompile_headers(${target} REUSE_FROM ${headers})
    # Where std::string comes precompiled, g++ 12 takes `text + "literal"` for a copy beyond the text: in services, command
    # and tests that is told, and ends no build. The libraries have none of it.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT headers STREQUAL "orvkit_headers")
      target_compile_options(${target} PRIVATE -Wno-error=array-bounds -Wno-error=stringop-overflow -Wno-error=restrict)
    endif()
  endif()
endfunction()

# orvkit_compile(TARGET): how all that goes into a library is compiled.
function(orvkit_compile target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:orvkit_build>)
  if(ORVKIT_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  # Nobody puts functions of his own in the place of ours: calls of exported functions may be inlined too.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
  if(NOT target STREQUAL "orvkit_headers")
    orvkit_precompile(${target} orvkit_headers)
  endif()
endfunction()

# orvkit_shared_library(NAME SOURCE...): a library that is installed, with nothing exported but what is ours.
function(orvkit_shared_library name)
  add_library(${name} SHARED ${ARGN})
  string(REPLACE "orvkit_" "" alias ${name})
  add_library(orvkit::${alias} ALIAS ${name})
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:orvkit_build>)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                           EXPORT_NAME ${alias})
  if(WIN32)
    # orvkit.dll, as its users load it.
    set_target_properties(${name} PROPERTIES PREFIX "")
  else()
    set(map ${PROJECT_SOURCE_DIR}/cmake/abi/linux.map)
    target_link_options(${name} PRIVATE -Wl,--version-script=${map})
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map})
  endif()
endfunction()

# orvkit_module(NAME COMPONENT): a module that is loaded when first needed, and lies beside the library of the component.
function(orvkit_module name component)
  set_target_properties(${name} PROPERTIES PREFIX "" INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component})
  set_property(GLOBAL APPEND PROPERTY ORVKIT_MODULES ${name})
endfunction()
