// Failures of the system's calls, on demand: socket, bind, sendto, recvmsg and poll as the transport calls them.

#ifndef TESTS_UNIT_TRELUDP_SOCKETFAULTS_H
#define TESTS_UNIT_TRELUDP_SOCKETFAULTS_H

enum class FaultyCall { SOCKET, BIND, SENDTO, RECVMSG, POLL };

// The next `times` calls fail with this errno without reaching the system; those behind them work again.
void failCalls(FaultyCall call, int error, unsigned int times = 1);
// How many of the failures ordered have not happened: 0 when the code under test has met them all.
unsigned int failuresLeft(FaultyCall call);
// The next datagram that recvmsg delivers is said to have been longer than the buffer.
void cutNextDatagram();

#endif
