// The trace topics this library exports. Constant-initialised, so they are usable from any
// static initialiser; registered by name at load in the order below.
#pragma once

#include "Diagnose/TraceTopic.hpp"

extern Diagnose::TraceTopic TRACE_BASISCLIENT;
extern Diagnose::TraceTopic TRACE_PERSITENCELAYER;  // topic "PersistenceLayer"; the symbol keeps its spelling
extern Diagnose::TraceTopic TRACE_DISKEVENT;
extern Diagnose::TraceTopic TRACE_GETSERVER_TRANS;
extern Diagnose::TraceTopic TRACE_ASSIGN;
extern Diagnose::TraceTopic TRACE_HA_PROVIDER;
extern Diagnose::TraceTopic TRACE_LOB_STORE;
extern Diagnose::TraceTopic TRACE_HADR_PROVIDER;
extern Diagnose::TraceTopic TRACE_INDEXVECTOR;
