/*
 * ZVHandleRegistry.h - the process-wide set of live environment-file handles.
 *
 * Handles are plain object addresses. Keeping the live ones lets every ZVEV function turn a
 * closed or foreign handle into code 1 instead of following a dangling pointer. Internal to the
 * library.
 */
#ifndef ZVHANDLEREGISTRY_H
#define ZVHANDLEREGISTRY_H

namespace zvenv {

/* Adds a handle; false when no memory was left for it. */
bool RegisterHandle(const void* handle);
/* Removes a handle; false when it was not live. */
bool UnregisterHandle(const void* handle);
/* Whether a handle is live (null never is). */
bool IsLiveHandle(const void* handle);

}  // namespace zvenv

#endif /* ZVHANDLEREGISTRY_H */
