# Writes OUTPUT, which is SOURCE with the text of the file OLD replaced by that of NEW. Fails unless it is there exactly once.
file(READ "${SOURCE}" text)
file(READ "${OLD}" old)
file(READ "${NEW}" new)
string(FIND "${text}" "${old}" first)
string(FIND "${text}" "${old}" last REVERSE)
if(first EQUAL -1 OR NOT first EQUAL last)
  message(FATAL_ERROR "A planted bug no longer fits ${SOURCE}, which has to contain this text once:\n${old}\n"
    "Change it in tests/product/schedules/planted.cmake.")
endif()
string(REPLACE "${old}" "${new}" text "${text}")
file(WRITE "${OUTPUT}" "${text}")
