// Scoped controllers of the automation layer. In each class the first object constructed while no
// controller exists becomes the controller and takes the constructor's argument; objects built
// while a controller exists stay inert. Only the controller's destructor clears the controller and
// resets its fields, so the outermost scope of a nest of API calls owns the state.
#pragma once

#include "kvdutu/platform/export.h"

class KVDUTU_API apiErrorMessageHandler {
 public:
  apiErrorMessageHandler();
  explicit apiErrorMessageHandler(int apiInitialised);
  ~apiErrorMessageHandler();
  apiErrorMessageHandler(const apiErrorMessageHandler&) = delete;
  apiErrorMessageHandler& operator=(const apiErrorMessageHandler&) = delete;

  // These go to the controller, whatever object they are called on; with no controller in
  // existence the call is the caller's fault.
  void SetErrorMessage(long code);
  long GetErrorMessage();
  int IsAPIInitialised();

  int errorCode;       // -1 when no error has been set
  int apiInitialised;

  static apiErrorMessageHandler* m_Controller;
};

class KVDUTU_API apiColorSystemColorHandler {
 public:
  explicit apiColorSystemColorHandler(unsigned int color);
  ~apiColorSystemColorHandler();
  apiColorSystemColorHandler(const apiColorSystemColorHandler&) = delete;
  apiColorSystemColorHandler& operator=(const apiColorSystemColorHandler&) = delete;

  // 1 when `other` is not the controller, 0 when it is.
  static int IsAPIInitialised(apiColorSystemColorHandler* other);

  unsigned int color;

  static apiColorSystemColorHandler* m_Controller;
};

class KVDUTU_API apiDocOptionNotificationHelper {
 public:
  apiDocOptionNotificationHelper();
  explicit apiDocOptionNotificationHelper(int silent);
  ~apiDocOptionNotificationHelper();
  apiDocOptionNotificationHelper(const apiDocOptionNotificationHelper&) = delete;
  apiDocOptionNotificationHelper& operator=(const apiDocOptionNotificationHelper&) = delete;

  static bool ShouldUse();  // a controller exists
  int IsSilent();           // the controller's `silent`

  int silent;

  static apiDocOptionNotificationHelper* m_Controller;
};
