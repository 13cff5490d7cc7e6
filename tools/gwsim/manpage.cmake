# Writes lumo-gwsim(1) from the simulator's own --help text.
# cmake -DGWSIM=path [-DEMULATOR=...] -DOUT=file -P manpage.cmake
execute_process(COMMAND ${EMULATOR} ${GWSIM} --help OUTPUT_VARIABLE help RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "lumo-gwsim --help failed: ${rc}")
endif()
string(REPLACE "\\" "\\e" help "${help}")
string(REPLACE "-" "\\-" help "${help}")
string(REGEX MATCH "\\\\- ([^\n]*)" summary "${help}")
set(summary "${CMAKE_MATCH_1}")
set(options "")
string(REPLACE "\n" ";" lines "${help}")
foreach(line IN LISTS lines)
  if(line MATCHES "^  +(\\\\-[^ ].*[^ ])   +(.*)$")
    string(APPEND options ".TP\n.B ${CMAKE_MATCH_1}\n${CMAKE_MATCH_2}\n")
  endif()
endforeach()
file(WRITE ${OUT} ".TH LUMO\\-GWSIM 1 \"\" \"liblumo3\" \"User Commands\"
.SH NAME
lumo\\-gwsim \\- ${summary}
.SH SYNOPSIS
.B lumo\\-gwsim
[\\fIOPTIONS\\fR]
.SH DESCRIPTION
Serves a model of the gateway's management objects under the bus name com.quv.igd1
on a D\\-Bus bus, for developing and testing gateway applications and \\fBlumoctl\\fR(1)
without a gateway. It runs until it is stopped (SIGINT or SIGTERM).
.SH OPTIONS
${options}.SH EXIT STATUS
.TP
.B 0
stopped normally
.TP
.B 1
no bus address, or the bus could not be reached
.TP
.B 2
usage error: a bad option, model file or bus name
.SH ENVIRONMENT
.TP
.B DBUS_SYSTEM_BUS_ADDRESS
the bus served when \\fB\\-\\-address\\fR is not given
.TP
.B LUMO_SYSROOT
redirected root directory for the files the simulated services keep
.SH EXAMPLES
.nf
lumo\\-gwsim \\-\\-address unix:path=/tmp/gw.sock \\-\\-write\\-address\\-file /tmp/gw.address
lumo\\-gwsim \\-\\-print\\-default\\-model > my.model
lumo\\-gwsim \\-\\-model my.model
.fi
.SH SEE ALSO
.BR lumoctl (1)
")
