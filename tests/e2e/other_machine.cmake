# Examples that were built for another machine talk to the servers of this one, over
# loopback. OSTREL_NATIVE_TOOLS is where those stand: tools/ of a build tree.

find_program(OSTREL_BATS bats REQUIRED NO_CMAKE_FIND_ROOT_PATH)

# A script for each example, which has the emulator run it.
set(scripts ${CMAKE_CURRENT_BINARY_DIR}/emulated)
get_property(examples DIRECTORY examples PROPERTY BUILDSYSTEM_TARGETS)
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
foreach(example IN LISTS examples)
  file(GENERATE OUTPUT ${scripts}/${example}
    CONTENT "#!/bin/sh\nexec ${emulator} $<TARGET_FILE:${example}> \"$@\"\n"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
endforeach()

ostrel_e2e_test(other_machine ${CMAKE_COMMAND} -E env
  OSTREL=${OSTREL_NATIVE_TOOLS}/ostrel/ostrel
  OSTRELD=${OSTREL_NATIVE_TOOLS}/ostreld/ostreld
  EXAMPLES=${scripts}
  ${OSTREL_BATS} ${CMAKE_CURRENT_LIST_DIR}/library.bats)
