#pragma once
// ThreadEndNotification: tells the library when a thread that used it ends,
// without any work in the entry routine's thread detach. One notification per
// library image (the per-thread storage's); Posix/ThreadEndNotification.cpp
// implements it with a pthread key and its destructor, Win/ThreadEndNotification.cpp
// with a fiber-local-storage slot and its callback.
//
// The callback runs on the ending thread, after its C++ thread_local
// destructors on POSIX and before the DLLs' thread detach on Windows, with the
// value the thread registered; a thread that registered nothing (or cleared
// its value) is not reported. On Windows, closing the notification calls the
// callback once more, on the closing thread, for every thread still registered;
// the callback must therefore check first whether it still wants to be called
// (the per-thread storage checks its marker word) and must never take a lock
// that the closing thread holds while closing.

#include <cstdint>

namespace ThreadEndNotification {

using Callback = void (*)(void* value);

// Opens the notification with its callback; false when the system has no slot
// left (then no thread is ever reported).
bool open(Callback callback) noexcept;
// Registers `value` for the calling thread (replacing an earlier one); false
// when it could not be registered or the notification is not open.
bool registerCallingThread(void* value) noexcept;
// Closes the notification: threads that end afterwards are not reported.
void close() noexcept;

// Whether other threads may still be running the library's code while its
// unload clean-up runs. On Windows they may not: at process exit the system
// has ended them before the DLL's detach, and unloading a DLL while another
// thread runs its code is the caller's error. On POSIX they may: exit() runs
// the libraries' exit lists while other threads go on.
bool otherThreadsMayRunDuringUnload() noexcept;

}  // namespace ThreadEndNotification
