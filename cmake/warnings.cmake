# The warnings of our own builds. They are private to each target, so a program
# that uses the library sees none of them. The flags stand in warnings.txt, where
# scripts/check-headers reads them too.
#
# -Wnon-virtual-dtor is not among them: genericList has virtual functions and, by
# design, no virtual destructor.

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${CMAKE_CURRENT_LIST_DIR}/warnings.txt)
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/warnings.txt OSTREL_WARNINGS)

function(ostrel_set_warnings target)
  target_compile_options(${target} PRIVATE ${OSTREL_WARNINGS})
endfunction()
