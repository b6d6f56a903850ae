# Writes SOURCE_DATE_EPOCH of the environment to OUTPUT, which stays as it is when that has not changed.

file(CONFIGURE OUTPUT "${OUTPUT}" CONTENT "$ENV{SOURCE_DATE_EPOCH}\n" @ONLY)
