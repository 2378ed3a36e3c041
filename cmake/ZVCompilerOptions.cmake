# Warning and sanitizer settings shared by the library, its tests and its tools.
function(zv_set_compile_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    if(ZV_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

if(ZV_SANITIZE)
    set(ZV_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all
                           -fno-omit-frame-pointer)
    add_compile_options(${ZV_SANITIZER_FLAGS})
    add_link_options(${ZV_SANITIZER_FLAGS})
endif()
