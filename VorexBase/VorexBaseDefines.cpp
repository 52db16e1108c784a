// Definitions of the library's trace topics. Each has an initializer object that registers it
// (with its statistics) at load and unregisters it at unload; being defined in this one unit,
// they initialise in the order written here.
#include "VorexBase/TraceTopics.hpp"

constinit Diagnose::TraceTopic TRACE_BASISCLIENT("BasisClient", "BasisClient");
constinit Diagnose::TraceTopic TRACE_PERSITENCELAYER("PersistenceLayer", "PersistenceLayer");
constinit Diagnose::TraceTopic TRACE_DISKEVENT("DiskEventCallback", "DiskEventCallback");
constinit Diagnose::TraceTopic TRACE_GETSERVER_TRANS("getserver_trans",
                                                     "nameserver getserver transactions");
constinit Diagnose::TraceTopic TRACE_ASSIGN("assign", "volume assignment");
constinit Diagnose::TraceTopic TRACE_HA_PROVIDER("ha_provider", "high availability");
constinit Diagnose::TraceTopic TRACE_LOB_STORE("lob_store", "lob related tracing");
constinit Diagnose::TraceTopic TRACE_HADR_PROVIDER("ha_dr_provider", "HA/DR provider");
constinit Diagnose::TraceTopic TRACE_INDEXVECTOR("indexvector", "indexvector");

namespace {
struct TopicInitializer {
  explicit TopicInitializer(Diagnose::TraceTopic& t) : topic(t) {
    topic.init();
    topic.initStat();
  }
  ~TopicInitializer() { topic.destroy(); }
  Diagnose::TraceTopic& topic;
};

TopicInitializer initBasisClient(TRACE_BASISCLIENT);
TopicInitializer initPersistenceLayer(TRACE_PERSITENCELAYER);
TopicInitializer initDiskEvent(TRACE_DISKEVENT);
TopicInitializer initGetserverTrans(TRACE_GETSERVER_TRANS);
TopicInitializer initAssign(TRACE_ASSIGN);
TopicInitializer initHaProvider(TRACE_HA_PROVIDER);
TopicInitializer initLobStore(TRACE_LOB_STORE);
TopicInitializer initHadrProvider(TRACE_HADR_PROVIDER);
TopicInitializer initIndexVector(TRACE_INDEXVECTOR);
}  // namespace
