// A zero-filled hosted-service context without a connection, installed for the
// object's lifetime: the core keeps a last error and names the service in log lines.
#pragma once

#include "lumo3_core.h"

namespace lumo::test {

class ScopedContext {
public:
    explicit ScopedContext(const char *name = "com.example.bustest1");
    ~ScopedContext();
    ScopedContext(const ScopedContext &) = delete;
    ScopedContext &operator=(const ScopedContext &) = delete;

private:
    OvanDBusServiceContext_t *ctx_;
};

}  // namespace lumo::test
