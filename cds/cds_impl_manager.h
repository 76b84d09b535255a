// UPnPCDSImplManager: the registry of live implementation objects, and the
// content engine's one response callback, which routes each answer to the
// object whose ID the request carried. A singleton: GetInstance() creates it
// on first use (registering the callback with the engine), DestroyInstance()
// deletes it with every object still pending (their actions are never
// answered).
//
// Thread safety: every member may be called from any thread. Stack threads
// add objects while the engine's thread delivers answers; one process-wide
// recursive lock guards the instance, the list and the ID counter. An
// object's NotifyCommandResponse runs with that lock held, so it may end its
// action (which removes it) but must not wait for another thread that uses
// the registry.
#ifndef DMS_CDS_CDS_IMPL_MANAGER_H
#define DMS_CDS_CDS_IMPL_MANAGER_H

#include "dms_content_engine.h"

class DMSAppString;
class DMSCDSList;
class UPnPCDSImplInterface;

class UPnPCDSImplManager {
 public:
  static UPnPCDSImplManager* GetInstance();
  static void DestroyInstance();

  // Registers `object` (owned from now on) under the next ID: 1 to 100000,
  // then 1 again; stores the ID in the object and returns it. 0 (nothing
  // registered, not owned) for a null object or when memory runs out.
  unsigned int Add(UPnPCDSImplInterface* object);
  // Unlinks and deletes the first object with `id`. 0 when one was removed,
  // 1 for an unknown ID (nothing changes).
  int Remove(unsigned int id);

  // The content engine's response callback: passes every argument to the
  // object registered under `id`. A negative or unknown ID is logged and the
  // answer dropped.
  static void NotifyCommandResponse(int id, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result,
                                    int value, DMSAppString* text, DMSCDSList* list);

  // Number of registered objects.
  int count() const;

 private:
  friend class UPnPCDSImplManagerTestPeer;

  UPnPCDSImplManager();
  ~UPnPCDSImplManager();
  UPnPCDSImplManager(const UPnPCDSImplManager&) = delete;
  UPnPCDSImplManager& operator=(const UPnPCDSImplManager&) = delete;

  // The first object with `id`, or null. The caller holds the lock.
  UPnPCDSImplInterface* __Find(unsigned int id);

  DMSCDSList* objects_;
  unsigned int lastID_;
};

#endif  // DMS_CDS_CDS_IMPL_MANAGER_H
