// Test hook: routes every allocation of one allocator group to a given allocator for the
// lifetime of the object, e.g. a counting allocator that proves exact byte requests. Scopes nest
// (the previous override comes back). Blocks allocated inside the scope must be freed inside it.
#pragma once

#include "VorexUtils/IndexVectorAllocator.hpp"

namespace VorexUtils::testing {

class ScopedIndexVectorAllocator {
 public:
  ScopedIndexVectorAllocator(AllocatorGroup group, ltt::allocator& alloc) noexcept;
  ~ScopedIndexVectorAllocator();
  ScopedIndexVectorAllocator(const ScopedIndexVectorAllocator&) = delete;
  ScopedIndexVectorAllocator& operator=(const ScopedIndexVectorAllocator&) = delete;

 private:
  AllocatorGroup m_group;
  ltt::allocator* m_previous;
};

}  // namespace VorexUtils::testing
