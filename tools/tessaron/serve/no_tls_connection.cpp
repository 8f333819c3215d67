#include "cli/failures.h"
#include "serve/listener.h"

namespace tessaron::tool {

Welcome tlsWelcome(const TlsFiles&) {
  throw Failure{kFailed, {}, "this program was built without TLS; it serves this machine only"};
}

}  // namespace tessaron::tool
