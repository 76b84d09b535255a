// Events about containers, and the interface of those who want them. The
// tree raises NUV_CDSEVENT_CONTAINER_CREATED (with the new ID) when a
// container is added; the other values are for the layers that announce
// content changes.
#ifndef DMS_CONTENT_CONTAINER_EVENT_LISTENER_H
#define DMS_CONTENT_CONTAINER_EVENT_LISTENER_H

class DMSAppString;
class DMSCDSList;

typedef enum NUV_CDSEVENT_TYPE {
  NUV_CDSEVENT_CONTAINER_CREATED = 0,
  NUV_CDSEVENT_CONTAINER_UPDATED = 1,
  NUV_CDSEVENT_CONTENT_ADDED = 2,
  NUV_CDSEVENT_CONTENT_REMOVED = 3
} NUV_CDSEVENT_TYPE;

class ContainerEventListener {
 public:
  virtual ~ContainerEventListener() = default;

  // Called on the thread that raised the event, with the tree's lock held:
  // do not wait here for another thread that uses the tree. The argument is
  // lent for the call.
  virtual void ContainerEventReceived(NUV_CDSEVENT_TYPE type, DMSCDSList* list) = 0;
  virtual void ContainerEventReceived(NUV_CDSEVENT_TYPE type, DMSAppString* text) = 0;

  // The ID the tree gave at registration (1, 2, ...), for deregistration;
  // 0 while not registered.
  unsigned int GetListenerID() const { return listenerID_; }

 private:
  friend class CDSTreeManager;
  unsigned int listenerID_ = 0;
};

#endif  // DMS_CONTENT_CONTAINER_EVENT_LISTENER_H
