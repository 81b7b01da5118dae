# Run by `cmake --install` (and cpack): writes the files that name install
# paths, from the prefix of this install, and installs them.
#   TALVO_WHAT=desktop: the desktop entry and the AppStream metadata
#   TALVO_WHAT=server:  the systemd unit and the example environment file
set(prefix "${CMAKE_INSTALL_PREFIX}")
set(bindir "${prefix}/bin")
# As GNUInstallDirs does at configure time: /usr keeps its configuration in
# /etc, any other prefix in <prefix>/etc.
if(prefix STREQUAL "/usr")
  set(sysconfdir "/etc")
else()
  set(sysconfdir "${prefix}/etc")
endif()

# An Exec= value for a program path: quoted and escaped as the desktop entry
# format asks when the path holds a character the launcher would interpret.
function(desktop_exec path out)
  string(REPLACE "%" "%%" escaped "${path}")
  if(path MATCHES "[] \t\"'\\\\><~|&;$*?#()`[]")
    string(REPLACE "\\" "\\\\\\\\" escaped "${escaped}")
    string(REPLACE "\"" "\\\\\"" escaped "${escaped}")
    string(REPLACE "$" "\\\\$" escaped "${escaped}")
    string(REPLACE "`" "\\\\`" escaped "${escaped}")
    set(escaped "\"${escaped}\"")
  endif()
  set(${out} "${escaped}" PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY "${TALVO_GEN}")
if(TALVO_WHAT STREQUAL "desktop")
  desktop_exec("${bindir}/talvo" TALVO_EXEC)
  string(REPLACE "\\" "\\\\" TALVO_TRYEXEC "${bindir}/talvo")
  configure_file("${TALVO_SOURCE}/desktop/talvo.desktop.in"
                 "${TALVO_GEN}/${TALVO_APP_ID}.desktop" @ONLY)
  configure_file("${TALVO_SOURCE}/desktop/talvo.metainfo.xml.in"
                 "${TALVO_GEN}/${TALVO_APP_ID}.metainfo.xml" @ONLY)
  file(INSTALL DESTINATION "${prefix}/share/applications" TYPE FILE
       FILES "${TALVO_GEN}/${TALVO_APP_ID}.desktop")
  file(INSTALL DESTINATION "${prefix}/share/metainfo" TYPE FILE
       FILES "${TALVO_GEN}/${TALVO_APP_ID}.metainfo.xml")
elseif(TALVO_WHAT STREQUAL "server")
  file(READ "${TALVO_SERVER_UNIT}" unit)
  # The unit in the source tree is written for a hand install into
  # /usr/local; its header says how. The installed one starts the installed
  # binary and reads this install's environment file, and its header says so.
  string(FIND "${unit}" "[Unit]" body_at)
  string(SUBSTRING "${unit}" ${body_at} -1 body)
  string(REPLACE "/usr/local/bin/talvo-server" "${bindir}/talvo-server" body "${body}")
  string(REPLACE "/etc/talvo-server/env" "${sysconfdir}/talvo-server/env" body "${body}")
  string(REPLACE "[Unit]\n" "[Unit]\nDocumentation=man:talvo-server(1)\n" body "${body}")
  file(READ "${TALVO_SOURCE}/server/unit-header.txt" header)
  string(REPLACE "@SYSCONFDIR@" "${sysconfdir}" header "${header}")
  string(REPLACE "@BINDIR@" "${bindir}" header "${header}")
  file(WRITE "${TALVO_GEN}/talvo-server.service" "${header}${body}")
  file(INSTALL DESTINATION "${prefix}/lib/systemd/system" TYPE FILE
       FILES "${TALVO_GEN}/talvo-server.service")
  # Root only: a translation key may be written into it.
  file(INSTALL DESTINATION "${sysconfdir}/talvo-server" TYPE FILE
       PERMISSIONS OWNER_READ OWNER_WRITE
       FILES "${TALVO_SOURCE}/server/env")
endif()
