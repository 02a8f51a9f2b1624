# Removes the files that the manifest of an installation names.
file(STRINGS ${MANIFEST} files)
foreach(file ${files})
  file(REMOVE "$ENV{DESTDIR}${file}")
  message(STATUS "Removed: $ENV{DESTDIR}${file}")
endforeach()
