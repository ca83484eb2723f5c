# SPDX-License-Identifier: Apache-2.0
# CPack runs this when the files of each package lie in a folder of their own: what Debian wants otherwise than
# `cmake --install` has it.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(usr ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  if(NOT IS_DIRECTORY ${usr})
    message(FATAL_ERROR "${usr} is not there")
  endif()

  file(COPY_FILE ${CPACK_OPCRAFT_SOURCE}/CHANGELOG.md ${CMAKE_CURRENT_BINARY_DIR}/changelog)
  file(MAKE_DIRECTORY ${usr}/share/doc/${package})
  file(RENAME ${CMAKE_CURRENT_BINARY_DIR}/changelog ${usr}/share/doc/${package}/changelog)
  file(WRITE ${usr}/share/doc/${package}/copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: Opcraft

Files: *
Copyright: The Opcraft authors
License: Apache-2.0
 On Debian systems the text of this license is in /usr/share/common-licenses/Apache-2.0.
")
  file(GLOB compressed ${usr}/share/doc/${package}/changelog ${usr}/share/man/man1/*.1)
  execute_process(COMMAND gzip -9n ${compressed} COMMAND_ERROR_IS_FATAL ANY)

  # Debian's zsh looks here.
  if(IS_DIRECTORY ${usr}/share/zsh/site-functions)
    file(RENAME ${usr}/share/zsh/site-functions ${usr}/share/zsh/vendor-completions)
  endif()

  # The loader of the system finds what lies in /usr/lib.
  file(GLOB programs ${usr}/bin/* ${usr}/lib/*.so.*)
  foreach(program IN LISTS programs)
    if(NOT IS_SYMLINK ${program})
      file(RPATH_REMOVE FILE ${program})
    endif()
  endforeach()
endforeach()
