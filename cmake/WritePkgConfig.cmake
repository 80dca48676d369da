# Runs at install time: writes searchproc.pc for the prefix being installed to (which
# `cmake --install --prefix` may change after configuring). Expects SEARCHPROC_PC_TEMPLATE,
# SEARCHPROC_PC_OUTPUT, SEARCHPROC_PC_VERSION and the install dirs SEARCHPROC_PC_LIBDIR_REL and
# SEARCHPROC_PC_INCLUDEDIR_REL (relative to the prefix, or absolute).
set(SEARCHPROC_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${SEARCHPROC_PC_${dir}_REL}")
    set(SEARCHPROC_PC_${dir} "${SEARCHPROC_PC_${dir}_REL}")
  else()
    set(SEARCHPROC_PC_${dir} "\${prefix}/${SEARCHPROC_PC_${dir}_REL}")
  endif()
endforeach()
configure_file("${SEARCHPROC_PC_TEMPLATE}" "${SEARCHPROC_PC_OUTPUT}" @ONLY)
