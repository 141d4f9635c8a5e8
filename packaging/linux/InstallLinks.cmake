# Runs at install time, when the prefix is known: the link in bin/ and the desktop entry, which names the
# executable by its full path (~/.local/bin is not on every PATH).
set(root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
file(MAKE_DIRECTORY "${root}/bin" "${root}/share/applications")
file(REMOVE "${root}/bin/quorvane")
file(CREATE_LINK "../${QVN_APP_DIR}/quorvane" "${root}/bin/quorvane" SYMBOLIC)
message(STATUS "Installing: ${root}/bin/quorvane")

set(exe "${CMAKE_INSTALL_PREFIX}/bin/quorvane")
# TryExec is a plain value: only its backslashes are escaped. Exec takes a quoted argument, in which '"',
# '`', '$' and '\' get a backslash, and the value's own escaping then doubles every backslash; '%' is a
# field code unless doubled.
string(REPLACE "\\" "\\\\" tryexec "${exe}")
string(REPLACE "\\" "\\\\\\\\" quoted "${exe}")
foreach(c "\"" "`" "$")
  string(REPLACE "${c}" "\\\\${c}" quoted "${quoted}")
endforeach()
string(REPLACE "%" "%%" quoted "${quoted}")

file(READ "${QVN_DESKTOP_IN}" entry)
string(REPLACE "@QVN_EXEC@" "\"${quoted}\"" entry "${entry}")
string(REPLACE "@QVN_TRYEXEC@" "${tryexec}" entry "${entry}")
set(desktop "${root}/share/applications/app.quorvane.pro.desktop")
file(WRITE "${desktop}" "${entry}")
message(STATUS "Installing: ${desktop}")
