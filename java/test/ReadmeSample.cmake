# cmake -DREADME=... -DWORK=... -DJAR=... -DJAVAC=... -DJAVA=... -DLIBDIR=... -DZELUT=...
#       -P ReadmeSample.cmake
# Takes the README's Java sample (the block after "```java"), compiles it
# against the jar and runs it with a LUT file that zelut writes.
cmake_minimum_required(VERSION 3.22)
file(READ ${README} text)
string(FIND "${text}" "```java\n" start)
if(start EQUAL -1)
  message(FATAL_ERROR "no Java sample in ${README}")
endif()
math(EXPR start "${start} + 8")
string(SUBSTRING "${text}" ${start} -1 rest)
string(FIND "${rest}" "```" end)
string(SUBSTRING "${rest}" 0 ${end} sample)
file(REMOVE_RECURSE ${WORK})
file(WRITE ${WORK}/ReadmeSample.java "${sample}")

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}\n${err}")
  endif()
  message(STATUS "${out}")
endfunction()

run("zelut" ${ZELUT} convert --identity 17 ${WORK}/look.lut)
run("javac" ${JAVAC} -Xlint:all -Werror -cp ${JAR} -d ${WORK} ${WORK}/ReadmeSample.java)
run("the README sample" ${JAVA} -Djava.library.path=${LIBDIR} -cp ${JAR}:${WORK} ReadmeSample
    ${WORK}/look.lut)
