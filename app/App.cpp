#include "app/App.h"

#include "runtime/Runtime.h"

namespace zeb {

class App* App() noexcept {
  return dynamic_cast<class App*>(getAppObject());
}

}  // namespace zeb
