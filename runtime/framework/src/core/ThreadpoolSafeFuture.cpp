#include "cppmicroservices/ThreadpoolSafeFuture.h"

namespace cppmicroservices {

ThreadpoolSafeFuture::ThreadpoolSafeFuture() = default;
ThreadpoolSafeFuture::ThreadpoolSafeFuture(ThreadpoolSafeFuture&&) noexcept = default;
ThreadpoolSafeFuture::~ThreadpoolSafeFuture() = default;

}  // namespace cppmicroservices
