#include "kvdutu/frame/api_controllers.h"

apiErrorMessageHandler* apiErrorMessageHandler::m_Controller = nullptr;
apiColorSystemColorHandler* apiColorSystemColorHandler::m_Controller = nullptr;
apiDocOptionNotificationHelper* apiDocOptionNotificationHelper::m_Controller = nullptr;

// Inert objects leave their fields unset, as the system's own did; the values below are only
// there so that reading an inert object's fields is not undefined behaviour.

apiErrorMessageHandler::apiErrorMessageHandler() : apiErrorMessageHandler(0) {}

apiErrorMessageHandler::apiErrorMessageHandler(int initialised) : errorCode(-1), apiInitialised(0) {
  if (m_Controller == nullptr) {
    m_Controller = this;
    errorCode = -1;
    apiInitialised = initialised;
  }
}

apiErrorMessageHandler::~apiErrorMessageHandler() {
  if (m_Controller == this) {
    m_Controller = nullptr;
    errorCode = -1;
    apiInitialised = 0;
  }
}

void apiErrorMessageHandler::SetErrorMessage(long code) { m_Controller->errorCode = static_cast<int>(code); }
long apiErrorMessageHandler::GetErrorMessage() { return m_Controller->errorCode; }
int apiErrorMessageHandler::IsAPIInitialised() { return m_Controller->apiInitialised; }

apiColorSystemColorHandler::apiColorSystemColorHandler(unsigned int c) : color(0) {
  if (m_Controller == nullptr) {
    m_Controller = this;
    color = c;
  }
}

apiColorSystemColorHandler::~apiColorSystemColorHandler() {
  if (m_Controller == this) {
    m_Controller = nullptr;
    color = 0;
  }
}

int apiColorSystemColorHandler::IsAPIInitialised(apiColorSystemColorHandler* other) {
  return other != m_Controller ? 1 : 0;
}

apiDocOptionNotificationHelper::apiDocOptionNotificationHelper() : apiDocOptionNotificationHelper(0) {}

apiDocOptionNotificationHelper::apiDocOptionNotificationHelper(int s) : silent(0) {
  if (m_Controller == nullptr) {
    m_Controller = this;
    silent = s;
  }
}

apiDocOptionNotificationHelper::~apiDocOptionNotificationHelper() {
  if (m_Controller == this) {
    m_Controller = nullptr;
    silent = 0;
  }
}

bool apiDocOptionNotificationHelper::ShouldUse() { return m_Controller != nullptr; }
int apiDocOptionNotificationHelper::IsSilent() { return m_Controller->silent; }
