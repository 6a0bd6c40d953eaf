# How the libraries of this house are made.

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
