# Packaging rules that every target of the project picks up without asking.
#
# Symbols: everything is compiled hidden; a library exports only what its public
# headers put between its export header's API_BEGIN/API_END marks. Each shared
# library is also linked with cmake/local-templates.map, which keeps the
# template code of the C++ and Boost libraries that the compiler emits as weak
# default-visibility copies out of the dynamic symbol table.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Run paths: an installed program finds the libraries in the library folder
# relative to itself, and a library finds its siblings beside itself, so a
# prefix works wherever it is copied to.
file(RELATIVE_PATH QZ_BIN_TO_LIB "/root/${CMAKE_INSTALL_BINDIR}" "/root/${CMAKE_INSTALL_LIBDIR}")
set(CMAKE_INSTALL_RPATH "$ORIGIN/${QZ_BIN_TO_LIB}")

# Shared libraries carry the project's major version in their soname.
set(QZ_SOVERSION ${PROJECT_VERSION_MAJOR})

# A library must name every library it uses (no symbol left for the process to
# supply) and keeps only those it really uses. clang's sanitizers link their
# runtime into executables only, so a sanitized clang build cannot check for
# undefined symbols in a library.
set(QZ_NO_UNDEFINED ON)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  set(QZ_NO_UNDEFINED OFF)
endif()
set(QZ_IS_SHARED "$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>")
if(QZ_NO_UNDEFINED)
  add_link_options("$<${QZ_IS_SHARED}:LINKER:--no-undefined>")
endif()
add_link_options("LINKER:--as-needed")
add_link_options("$<${QZ_IS_SHARED}:LINKER:--version-script=${CMAKE_CURRENT_LIST_DIR}/local-templates.map>")

# qz_shared_library(target): the properties of an installed shared library of
# this project: versioned file and soname, a run path to its neighbours, the
# version script as a link dependency.
function(qz_shared_library target)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${QZ_SOVERSION}
    INSTALL_RPATH "$ORIGIN"
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/local-templates.map)
endfunction()
