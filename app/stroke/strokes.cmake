# Stroke data for the stroke-order view: the npm package hanzi-writer-data,
# one JSON file per character, installed into the build's share/talvo/strokes
# beside its licence. Without npm, or when the install fails, the build goes
# on: the view then asks the content host and shows its error line offline.
set(TALVO_STROKES_VERSION 2.0.1)
set(TALVO_STROKES_DIR ${CMAKE_BINARY_DIR}/share/talvo/strokes)
find_program(TALVO_NPM npm)
if(TALVO_NPM)
  set(talvo_strokes_stamp ${CMAKE_BINARY_DIR}/npm/hanzi-writer-data-${TALVO_STROKES_VERSION}.stamp)
  add_custom_command(
    OUTPUT ${talvo_strokes_stamp}
    COMMAND ${CMAKE_COMMAND} -DNPM=${TALVO_NPM} -DPREFIX=${CMAKE_BINARY_DIR}/npm
            -DVERSION=${TALVO_STROKES_VERSION} -DDEST=${TALVO_STROKES_DIR}
            -DSTAMP=${talvo_strokes_stamp}
            -P ${CMAKE_CURRENT_LIST_DIR}/install_strokes.cmake
    DEPENDS ${CMAKE_CURRENT_LIST_DIR}/install_strokes.cmake
    COMMENT "Installing the stroke data (hanzi-writer-data ${TALVO_STROKES_VERSION})"
    USES_TERMINAL
    VERBATIM)
  add_custom_target(talvo_strokes ALL DEPENDS ${talvo_strokes_stamp})
else()
  message(WARNING "npm not found: no stroke data in the build; the stroke-order view "
                  "will need the content host")
  add_custom_target(talvo_strokes)
endif()
