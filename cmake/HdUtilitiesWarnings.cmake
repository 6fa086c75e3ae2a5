# Warning policy for the project's own targets (not for GoogleTest built from
# source): everything on, and every warning is an error on both platforms.
function(hdu_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endfunction()
