#include "fsops/kelpHadoop.h"

#include "jni/mutex.h"

namespace kelp {

// Constant-initialised: they hold -1 before any initialiser has run.
std::atomic<int> isAllowWriteAffinity{-1};
std::atomic<int> isCacheInMemEnabled{-1};
std::atomic<int> isRemoteMount{-1};
char skipKELPfcntl[101] = {};

pthread_mutex_t m_mutex;

// The main unit initialises last: the maps, then the library mutex.
std::map<int, DevIdToNode> gDevIdToNodeMap __attribute__((init_priority(1300)));
std::map<std::string, kelpDetails_t> gPathToBlockSize __attribute__((init_priority(1300)));
std::map<std::string, int> gFileId __attribute__((init_priority(1300)));
std::map<int, std::string> gNodeIdToNameMap __attribute__((init_priority(1300)));

namespace {
struct MainUnitInit {
  MainUnitInit() { init_recursive_mutex(&m_mutex); }
};
MainUnitInit main_unit_init __attribute__((init_priority(1301)));
}  // namespace

}  // namespace kelp
