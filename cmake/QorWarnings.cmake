# Warning and sanitizer flags for the project's own targets (not GoogleTest's).
function(qor_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(QOR_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(QOR_UBSAN)
  # No sanitizer runtime exists for MinGW: undefined behaviour traps instead.
  add_compile_options(-fsanitize=undefined -fsanitize-undefined-trap-on-error)
  add_link_options(-fsanitize=undefined -fsanitize-undefined-trap-on-error)
endif()
