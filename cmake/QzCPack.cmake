# `make package`: two Debian packages, as Debian splits a library.
#   libqzservices0     the shared libraries (versioned files and sonames) and the programs
#   libqzservices-dev  the headers, the development links libqzservices.so and
#                      libcalyx_*.so, the CMake package, the pkg-config file, the examples
# The runtime package's dependencies are computed from the binaries by
# dpkg-shlibdeps; the development package asks for the Debian development
# packages that the CMake package's find_dependency calls need.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libqzservices)
set(CPACK_PACKAGE_VENDOR "Calyx")
set(CPACK_PACKAGE_CONTACT "Calyx services developers <services@calyx.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Calyx services library: output pipeline, display, events, containers, session state")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqzservices${QZ_SOVERSION})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps resolves our own libraries inside the package being built.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
file(GLOB qz_sibling_dirs LIST_DIRECTORIES true ${PROJECT_SOURCE_DIR}/siblings/*)
foreach(dir ${qz_sibling_dirs})
  if(IS_DIRECTORY ${dir})
    get_filename_component(name ${dir} NAME)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/siblings/${name})
  endif()
endforeach()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqzservices-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libqzservices${QZ_SOVERSION} (= ${PROJECT_VERSION}), libboost-dev (>= 1.74), libboost-thread-dev (>= 1.74), libboost-serialization-dev (>= 1.74), libboost-iostreams-dev (>= 1.74), libboost-date-time-dev (>= 1.74), libboost-regex-dev (>= 1.74), libicu-dev")
include(CPack)
