# Fails when an object file of the distribution generators refers to the C
# library's logarithm, exponential, power or log-gamma: their FMA and non-FMA
# variants, chosen at run time by processor, could turn an accept/reject
# decision, so the generators use the module's own arithmetic instead.
#   cmake -DNM=<nm> -DOBJECTS=<dir of the objects> -P no_libm_math.cmake
file(GLOB objects "${OBJECTS}/*.o")
if(NOT objects)
  message(FATAL_ERROR "no object files in ${OBJECTS}")
endif()
set(bad "")
foreach(o IN LISTS objects)
  execute_process(COMMAND ${NM} -u ${o} OUTPUT_VARIABLE out RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${NM} failed on ${o}")
  endif()
  string(REGEX MATCHALL "U (log|log1p|exp|expm1|exp2|log2|log10|pow|lgamma|lgamma_r|tgamma)[fl]?(@[^\n]*)?\n" hits "${out}")
  foreach(h IN LISTS hits)
    string(STRIP "${h}" h)
    list(APPEND bad "${o}: ${h}")
  endforeach()
endforeach()
list(LENGTH objects count)
if(bad)
  string(REPLACE ";" "\n" bad "${bad}")
  message(FATAL_ERROR "C library mathematics in the generators:\n${bad}")
endif()
message(STATUS "${count} objects, none calls the C library's log, exp, pow or lgamma")
