# What is installed, and the packages made of it: kavrel, and the workstation's runtime apart from
# it, so that a board has the NPU vendor's librknnrt.so and no second one. packaging/make_packages.sh
# makes them.

# The program as it is installed, linked once more: where CMake has to replace a search path at
# installation, it makes the one in the build folder end with an empty entry, and the loader then
# searches the working directory. Nor does this one depend on the build folder's name.
# lib/kavrel is a folder of our own, found from the program wherever the installation is: a
# librknnrt.so in it wins over the system's, and no other program sees it.
add_executable(kavrel_installed src/app/main.cpp)
target_link_libraries(kavrel_installed PRIVATE kavrel_core rknnrt kavrel_flags)
set_target_properties(kavrel_installed PROPERTIES
  OUTPUT_NAME kavrel
  RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/installed"
  BUILD_WITH_INSTALL_RPATH ON
  INSTALL_RPATH "$ORIGIN/../lib/kavrel")

# Debian wants some documents compressed; without name and time they are the same in every build.
find_program(GZIP gzip REQUIRED)
function(install_compressed source destination component)
  get_filename_component(name "${source}" NAME)
  set(compressed "${CMAKE_CURRENT_BINARY_DIR}/packaging/${name}.gz")
  execute_process(COMMAND "${GZIP}" --best --no-name --stdout "${source}"
    OUTPUT_FILE "${compressed}" RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "cannot compress ${source}")
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${source}")
  install(FILES "${compressed}" DESTINATION "${destination}" COMPONENT ${component})
endfunction()

string(TIMESTAMP package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)  # of SOURCE_DATE_EPOCH if given
configure_file(packaging/changelog.in packaging/changelog @ONLY)

# The documents that every Debian package has.
function(install_package_documents component)
  set(documents "share/doc/${component}")
  install(FILES "packaging/${component}/copyright"
    DESTINATION "${documents}" COMPONENT ${component})
  install_compressed("${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog" "${documents}" ${component})
endfunction()

install(TARGETS kavrel_installed RUNTIME DESTINATION bin COMPONENT kavrel)
install(FILES dict/region_words.txt dict/plate_rec_dict.txt
  DESTINATION share/kavrel/dict COMPONENT kavrel)
install(DIRECTORY samples/rendered DESTINATION share/kavrel/samples COMPONENT kavrel)
install(FILES README.md NOTICE LICENSE docs/board.md DESTINATION share/doc/kavrel COMPONENT kavrel)
install_compressed("${PROJECT_SOURCE_DIR}/docs/kavrel.1" share/man/man1 kavrel)
install_package_documents(kavrel)

set(components kavrel)
if(NOT KAVREL_RKNNRT_LIBRARY)
  install_package_documents(kavrel-host-runtime)
  install(FILES packaging/kavrel-host-runtime/lintian-overrides RENAME kavrel-host-runtime
    DESTINATION share/lintian/overrides COMPONENT kavrel-host-runtime)
  list(APPEND components kavrel-host-runtime)
endif()

set(KAVREL_MAINTAINER "kavrel developers <kavrel@kavrel.invalid>" CACHE STRING
  "Name and address in the packages")
set(CPACK_PACKAGE_CONTACT "${KAVREL_MAINTAINER}")
set(CPACK_PACKAGE_VENDOR "kavrel developers")
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)  # whatever the umask
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/package_times.cmake")

set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_LIST_DIR}/package_kinds.cmake")
set(platform "${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR}-linux-gnu")
set(CPACK_PACKAGE_FILE_NAME "kavrel-${platform}")
set(CPACK_ARCHIVE_KAVREL_FILE_NAME "kavrel-${platform}")
set(CPACK_ARCHIVE_KAVREL-HOST-RUNTIME_FILE_NAME "kavrel-host-runtime-${platform}")

set(debian_architecture_x86_64 amd64)
set(debian_architecture_aarch64 arm64)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${debian_architecture_${CMAKE_SYSTEM_PROCESSOR}}")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A root for cross-builds says itself which package each of its libraries is from.
if(CMAKE_SYSROOT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    "${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}"
    "${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
endif()
set(CPACK_DEBIAN_KAVREL_PACKAGE_NAME kavrel)
set(CPACK_DEBIAN_KAVREL_PACKAGE_SUGGESTS kavrel-host-runtime)
set(CPACK_DEBIAN_KAVREL-HOST-RUNTIME_PACKAGE_NAME kavrel-host-runtime)
set(CPACK_DEBIAN_KAVREL-HOST-RUNTIME_PACKAGE_ENHANCES kavrel)
# A first line of its own for each package, not the project's.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_COMPONENT_KAVREL_DESCRIPTION
"batch validator for Japanese licence-plate recognition
kavrel measures how well a chain of four neural networks reads Japanese
licence plates: it reads a labelled list of pictures frame by frame, votes
over the frames of a vehicle, writes its results as CSV and JSON with a
picture of every step, and its exit status can fail a build.

The networks run on the NPU of a board through librknnrt.so. That library is
no Debian package: it comes with the board, from the NPU's vendor, and belongs
in /usr/lib. On a workstation, kavrel-host-runtime takes its place.")
set(CPACK_COMPONENT_KAVREL-HOST-RUNTIME_DESCRIPTION
"librknnrt.so for workstations, to run kavrel without an NPU
This librknnrt.so runs ONNX files with ONNX Runtime, which is in the package.
Only kavrel finds it. Do not install it on a board: kavrel would load it in
the place of the NPU vendor's library.")
include(CPack)
