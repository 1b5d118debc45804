// zel/thread_annotations.h - lock annotations for clang's thread-safety analysis.
//
// The macros below tell clang (-Wthread-safety) which lock guards which data,
// so that an access without the lock is a compile-time warning. Under other
// compilers they expand to nothing. The library annotates its own locks
// (CriticalSectionLock is a capability, CriticalSection a scoped capability),
// so code that includes its headers can annotate its tables the same way:
//
//   Zel::CriticalSectionLock g_table_lock;
//   std::vector<Entry> g_table ZEL_GUARDED_BY(g_table_lock);
//
//   void add(const Entry& entry) {
//     Zel::CriticalSection guard(g_table_lock);
//     g_table.push_back(entry);  // without `guard`, clang warns here
//   }
//
// The analysis does not model recursive locking: taking a lock twice in one
// function is reported, though CriticalSectionLock allows it at run time.

#ifndef ZEL_THREAD_ANNOTATIONS_H_
#define ZEL_THREAD_ANNOTATIONS_H_

#if defined(__clang__)
#define ZEL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZEL_THREAD_ANNOTATION(x)
#endif

// A class whose objects are locks; `name` appears in the warnings.
#define ZEL_CAPABILITY(name) ZEL_THREAD_ANNOTATION(capability(name))
// A guard class: its constructor acquires, its destructor releases.
#define ZEL_SCOPED_CAPABILITY ZEL_THREAD_ANNOTATION(scoped_lockable)
// Data read or written only while `lock` is held.
#define ZEL_GUARDED_BY(lock) ZEL_THREAD_ANNOTATION(guarded_by(lock))
// A pointer whose pointee is read or written only while `lock` is held.
#define ZEL_PT_GUARDED_BY(lock) ZEL_THREAD_ANNOTATION(pt_guarded_by(lock))
// A function that the caller must call with the locks held.
#define ZEL_REQUIRES(...) ZEL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
// A function that takes the locks (no arguments: the object itself).
#define ZEL_ACQUIRE(...) ZEL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
// A function that releases the locks (no arguments: the object itself).
#define ZEL_RELEASE(...) ZEL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
// A function that must not be called with the locks held.
#define ZEL_EXCLUDES(...) ZEL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
// A function that returns a reference to the lock `lock`.
#define ZEL_RETURN_CAPABILITY(lock) ZEL_THREAD_ANNOTATION(lock_returned(lock))
// Turns the analysis off for one function; say why beside it.
#define ZEL_NO_THREAD_SAFETY_ANALYSIS ZEL_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif  // ZEL_THREAD_ANNOTATIONS_H_
