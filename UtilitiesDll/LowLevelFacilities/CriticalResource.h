#pragma once
// CriticalResource: a process-wide critical section guarding one resource that
// all threads share (a lazily built table, a registry of objects). It is the
// platform's recursive lock (PlatformFacilities::CriticalSection) under the
// name the library's process-wide resources use; CriticalResourceLock holds it
// for a scope.
//
// A CriticalResource is usually a static object: like every static with a
// constructor it may only be used between the library's static
// initialisation and its static destruction. Code that can run outside that
// window (error displays during unload) checks a flag of its own first.

#include "LowLevelFacilities/PlatformFacilities.h"

class CriticalResource {
 public:
  CriticalResource() noexcept = default;
  CriticalResource(const CriticalResource&) = delete;
  CriticalResource& operator=(const CriticalResource&) = delete;

  void Enter() noexcept { m_section.enter(); }
  void Leave() noexcept { m_section.leave(); }

 private:
  PlatformFacilities::CriticalSection m_section;
};

class CriticalResourceLock {
 public:
  explicit CriticalResourceLock(CriticalResource& resource) noexcept : m_resource(resource) { m_resource.Enter(); }
  ~CriticalResourceLock() { m_resource.Leave(); }
  CriticalResourceLock(const CriticalResourceLock&) = delete;
  CriticalResourceLock& operator=(const CriticalResourceLock&) = delete;

 private:
  CriticalResource& m_resource;
};
