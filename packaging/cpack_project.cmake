# Included by cpack before it packages. The Depends of each package come from
# dpkg-shlibdeps run on its programs, here rather than through cpack's own
# shlibdeps step, which runs `file` on every installed file one at a time
# (minutes for the ten thousand files of stroke data).
if(CPACK_GENERATOR STREQUAL "DEB")
  find_program(TALVO_SHLIBDEPS dpkg-shlibdeps)
  if(NOT TALVO_SHLIBDEPS)
    message(FATAL_ERROR "dpkg-shlibdeps (Debian's dpkg-dev) is needed to make the packages")
  endif()
  set(work "${CPACK_TOPLEVEL_DIRECTORY}/talvo-shlibdeps")
  file(MAKE_DIRECTORY "${work}/debian")
  # dpkg-shlibdeps wants to run inside a source package.
  file(WRITE "${work}/debian/control" "")
  foreach(component TALVO SERVER)
    execute_process(
      COMMAND ${TALVO_SHLIBDEPS} --ignore-missing-info -O ${CPACK_TALVO_${component}_PROGRAMS}
      WORKING_DIRECTORY "${work}"
      OUTPUT_VARIABLE out
      ERROR_VARIABLE err
      RESULT_VARIABLE rc
      OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT rc EQUAL 0 OR NOT out MATCHES "^shlibs:Depends=(.+)$")
      message(FATAL_ERROR "dpkg-shlibdeps failed for ${CPACK_TALVO_${component}_PROGRAMS}:\n${err}")
    endif()
    set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS
        "${CPACK_DEBIAN_${component}_PACKAGE_DEPENDS}, ${CMAKE_MATCH_1}")
  endforeach()
endif()
