# Read by CPack for each kind of package: archives unpack into a folder, which all of them share.
if(CPACK_GENERATOR STREQUAL "TGZ")
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
endif()
