// A resource for tests: a name, copied by clone().
#ifndef ZEL_TESTS_ERRORS_TEST_RESOURCE_H_
#define ZEL_TESTS_ERRORS_TEST_RESOURCE_H_

#include "zel/resource.h"

namespace Zel {

class TestResource : public Resource {
 public:
  explicit TestResource(const UString& name) : name_(name) {}
  Resource* copy() const override { return new TestResource(*this); }
  UString to_string() const override { return name_; }

 private:
  UString name_;
};

}  // namespace Zel

#endif  // ZEL_TESTS_ERRORS_TEST_RESOURCE_H_
