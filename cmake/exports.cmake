# Writes the linker's list of exported operations: exactly those that the public header declares.
#   cmake -DHEADER=zut.h -DOUT=file -P exports.cmake
# OUT ending in .def is a module definition (Windows), anything else a version script (Linux).
set(names)
file(READ ${HEADER} text)
string(REGEX MATCHALL "Z_EXPORT[^;({]*[ \n]Zut[A-Za-z0-9]+\\(" found "${text}")
foreach(declaration ${found})
  string(REGEX REPLACE ".*[ \n](Zut[A-Za-z0-9]+)\\($" "\\1" name "${declaration}")
  list(APPEND names ${name})
endforeach()
list(SORT names)

if(OUT MATCHES "\\.def$")
  list(JOIN names "\n  " lines)
  set(text "LIBRARY zut.dll\nEXPORTS\n  ${lines}\n")
else()
  list(JOIN names ";\n    " lines)
  set(text "ZUT_1 {\n  global:\n    ${lines};\n  local:\n    *;\n};\n")
endif()
file(WRITE ${OUT} "${text}")
