# cmake -DNPM=... -DPREFIX=... -DVERSION=... -DDEST=... -DSTAMP=... -P install_strokes.cmake
# Installs hanzi-writer-data with npm (only when that version is not there
# yet, so an offline rebuild works) and copies its per-character files and
# licence into DEST. A failure warns and leaves no stamp, so the next build
# tries again.
set(pkg ${PREFIX}/node_modules/hanzi-writer-data)
set(have "")
if(EXISTS ${pkg}/package.json)
  file(READ ${pkg}/package.json manifest)
  string(JSON have ERROR_VARIABLE json_error GET "${manifest}" version)
endif()
if(NOT have STREQUAL VERSION)
  file(MAKE_DIRECTORY ${PREFIX})
  execute_process(
    COMMAND ${NPM} install --prefix ${PREFIX} hanzi-writer-data@${VERSION}
            --no-audit --no-fund --no-save --ignore-scripts --loglevel=error
    RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0 OR NOT EXISTS ${pkg}/package.json)
    message(WARNING "npm could not install hanzi-writer-data ${VERSION} (${rc}): "
                    "the build has no local stroke data")
    return()
  endif()
endif()

file(GLOB chars LIST_DIRECTORIES false ${pkg}/*.json)
list(REMOVE_ITEM chars ${pkg}/package.json)
list(LENGTH chars count)
if(count EQUAL 0)
  message(WARNING "hanzi-writer-data ${VERSION} holds no character files")
  return()
endif()
file(MAKE_DIRECTORY ${DEST})
file(COPY ${chars} DESTINATION ${DEST})
# The data is under the Arphic Public License, which travels with it.
if(EXISTS ${pkg}/ARPHICPL.TXT)
  file(COPY_FILE ${pkg}/ARPHICPL.TXT ${DEST}/LICENSE-ARPHIC.txt ONLY_IF_DIFFERENT)
else()
  message(WARNING "hanzi-writer-data ${VERSION} ships no ARPHICPL.TXT")
endif()
message(STATUS "Stroke data: ${count} characters in ${DEST}")
file(TOUCH ${STAMP})
