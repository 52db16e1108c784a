// Trace topics that the platform provides to the library and its hosts. Constant-initialised,
// registered at load; every topic starts at level 1 (errors).
#pragma once

#include "Diagnose/TraceTopic.hpp"

extern Diagnose::TraceTopic TRACE_PYTHON;           // "pythontrace": script trace files
extern Diagnose::TraceTopic TRACE_GETSERVER;        // "getserver": server lookups
extern Diagnose::TraceTopic TRACE_GETSERVER_STACK;  // "getserver_stack": stacks of failed lookups
extern Diagnose::TraceTopic TRACE_TNS;              // "tns": name-server client
extern Diagnose::TraceTopic TRACE_TNS_DDL;          // "tns_ddl": index creation requests
extern Diagnose::TraceTopic TRACE_CONFIG;           // "config": configuration sources
