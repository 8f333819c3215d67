#include "settings/single_instance.h"

#include "platform/named_mutex.h"

CLimitSingleInstance::CLimitSingleInstance(const char16_t* name)
    : m_hMutex(tessaron::openNamedMutex(name, m_dwLastError)) {}

CLimitSingleInstance::CLimitSingleInstance(const CLimitSingleInstance&) = default;
CLimitSingleInstance& CLimitSingleInstance::operator=(const CLimitSingleInstance&) = default;

CLimitSingleInstance::~CLimitSingleInstance() {
  tessaron::closeNamedMutex(m_hMutex);
  m_hMutex = nullptr;
}

bool CLimitSingleInstance::IsAnotherInstanceRunning() const {
  return m_dwLastError == ERROR_ALREADY_EXISTS;
}
