# OSTREL_SANITIZE names the run-time checks of the whole tree, in the compiler's
# words: "address,leak,undefined" in the preset "sanitizers". A finding ends the
# program, so that no test can pass over it.

set(OSTREL_SANITIZE "" CACHE STRING
  "Run-time checks, comma separated (address,leak,undefined); empty for none")

if(OSTREL_SANITIZE)
  set(flags -fsanitize=${OSTREL_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  if(OSTREL_SANITIZE MATCHES "undefined")
    # Not part of "undefined", although such a conversion is undefined too.
    list(APPEND flags -fsanitize=float-cast-overflow)
  endif()
  add_compile_options(${flags})
  add_link_options(${flags})
endif()
