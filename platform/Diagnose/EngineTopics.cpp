#include "Diagnose/EngineTopics.hpp"

constinit Diagnose::TraceTopic TRACE_PYTHON("pythontrace", "python trace files");
constinit Diagnose::TraceTopic TRACE_GETSERVER("getserver", "nameserver getserver");
constinit Diagnose::TraceTopic TRACE_GETSERVER_STACK("getserver_stack",
                                                     "call stacks of failed getserver requests");
constinit Diagnose::TraceTopic TRACE_TNS("tns", "nameserver client");
constinit Diagnose::TraceTopic TRACE_TNS_DDL("tns_ddl", "nameserver index definitions");
constinit Diagnose::TraceTopic TRACE_CONFIG("config", "configuration sources");

namespace {
struct TopicInitializer {
  explicit TopicInitializer(Diagnose::TraceTopic& t) : topic(t) {
    topic.init();
    topic.initStat();
  }
  ~TopicInitializer() { topic.destroy(); }
  Diagnose::TraceTopic& topic;
};

TopicInitializer initPython(TRACE_PYTHON);
TopicInitializer initGetserver(TRACE_GETSERVER);
TopicInitializer initGetserverStack(TRACE_GETSERVER_STACK);
TopicInitializer initTns(TRACE_TNS);
TopicInitializer initTnsDdl(TRACE_TNS_DDL);
TopicInitializer initConfig(TRACE_CONFIG);
}  // namespace
