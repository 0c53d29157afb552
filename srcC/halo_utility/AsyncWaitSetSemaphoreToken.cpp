/// @file
/// The concrete completion token: its waiter blocks on a semaphore.
///
/// Protection: `reset` and `notify` are called inside the owner's critical section, `wait` outside of it; the semaphore
/// locks by itself.
#include "AsyncWaitSetCompletionToken.pkg.h"
#include "halo_runtime/zyl/ZYLOsapiHeap.pkg.h"

namespace {

DDS_SemaphoreAsyncWaitSetCompletionToken *semaphoreToken(DDS_AsyncWaitSetCompletionToken *token)
{
    return reinterpret_cast<DDS_SemaphoreAsyncWaitSetCompletionToken *>(token);
}

DDS_ReturnCode_t returnCodeOf(int semaphoreStatus)
{
    if (semaphoreStatus == ZYL_OSAPI_SEMAPHORE_STATUS_OK) return DDS_RETCODE_OK;
    return semaphoreStatus == ZYL_OSAPI_SEMAPHORE_STATUS_TIMEOUT ? DDS_RETCODE_TIMEOUT : DDS_RETCODE_ERROR;
}

/// Make the next wait block until the next notify, even if an earlier notification was never waited for.
DDS_ReturnCode_t resetSemaphoreToken(void *handlerData, DDS_AsyncWaitSetCompletionToken *token)
{
    static_cast<void>(handlerData);
    return returnCodeOf(ZYLOsapiSemaphore_drain(semaphoreToken(token)->_semaphore));
}

/// Release a waiter, or let the next one pass. The notifier is inside the critical section, and the waiter enters it
/// before it touches the token again, so the semaphore outlives this call.
DDS_ReturnCode_t notifySemaphoreToken(void *handlerData, DDS_AsyncWaitSetCompletionToken *token)
{
    static_cast<void>(handlerData);
    return returnCodeOf(ZYLOsapiSemaphore_give(semaphoreToken(token)->_semaphore));
}

/// Blocks.
DDS_ReturnCode_t waitForSemaphoreToken(void *handlerData, DDS_AsyncWaitSetCompletionToken *token,
                                       const struct ZYLNtpTime *timeout)
{
    static_cast<void>(handlerData);
    return returnCodeOf(ZYLOsapiSemaphore_take(semaphoreToken(token)->_semaphore, timeout));
}

}  // namespace

DDS_AsyncWaitSetCompletionToken *DDS_SemaphoreAsyncWaitSetCompletionToken_new(DDS_AsyncWaitSet *self)
{
    auto *const token = ZYLOsapiHeap_allocateStructure<DDS_SemaphoreAsyncWaitSetCompletionToken>(
        "DDS_SemaphoreAsyncWaitSetCompletionToken");
    if (token == nullptr) return nullptr;
    *token = {};
    token->_semaphore = ZYLOsapiSemaphore_new("completion token");
    if (token->_semaphore == nullptr) {
        ZYLOsapiHeap_freeStructure(token);
        return nullptr;
    }
    DDS_AsyncWaitSetCompletionToken *const parent = &token->_parent;
    parent->_state = DDS_AsyncWaitSetCompletionTokenState_READY;
    parent->_owner = self;
    parent->_handler = {nullptr, resetSemaphoreToken, notifySemaphoreToken, waitForSemaphoreToken};
    VESKInlineListNode_init(&parent->_loanedNode.node);
    parent->_loanedNode.userData = parent;
    return parent;
}

void DDS_SemaphoreAsyncWaitSetCompletionToken_delete(DDS_AsyncWaitSetCompletionToken *token)
{
    ZYLOsapiSemaphore_delete(semaphoreToken(token)->_semaphore);
    ZYLOsapiHeap_freeStructure(semaphoreToken(token));
}
