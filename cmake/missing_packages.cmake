# kavrel_missing_packages(RESULT VARIABLE PACKAGE [VARIABLE PACKAGE]...): the packages whose variable
# says that they were not found, with blanks between them.
function(kavrel_missing_packages result)
  set(missing)
  while(ARGN)
    list(POP_FRONT ARGN is_found package)
    if(NOT ${is_found})
      list(APPEND missing ${package})
    endif()
  endwhile()
  list(JOIN missing " " missing)
  set(${result} "${missing}" PARENT_SCOPE)
endfunction()
