// zel/resource.h - the resource a coded exception can carry.
//
// Resource is implemented by the code that uses this library (a file, a branch
// type, a record...). The library only copies resources and asks them for their
// text form: a QRPException keeps a clone of the resource the failure concerns,
// and a UMessage argument formats a resource by its text.
//
//   class BranchType : public Zel::Resource {
//    public:
//     Resource* copy() const override { return new BranchType(*this); }
//     Zel::UString to_string() const override { return name_; }
//     ...
//   };

#ifndef ZEL_RESOURCE_H_
#define ZEL_RESOURCE_H_

#include "zel/export.h"
#include "zel/ustring.h"

namespace Zel {

class ZEL_EXPORT Resource {
 public:
  virtual ~Resource();

  // A heap copy of the same dynamic type, owned by the caller.
  Resource* clone() const { return copy(); }

  // The virtual copy behind clone().
  virtual Resource* copy() const = 0;
  // The resource's text form, as messages show it.
  virtual UString to_string() const = 0;
};

}  // namespace Zel

#endif  // ZEL_RESOURCE_H_
