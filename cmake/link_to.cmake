# SPDX-License-Identifier: GPL-2.0-or-later
#
# link_to(TARGET LINK): a symbolic link, made anew only when it leads elsewhere.  A
# daemon that is being started finds its libraries while the build is configured once more.
include_guard()

function(link_to target link)
  if(IS_SYMLINK ${link})
    file(READ_SYMLINK ${link} present)
    if(present STREQUAL target)
      return()
    endif()
  endif()
  file(CREATE_LINK ${target} ${link} SYMBOLIC)
endfunction()
