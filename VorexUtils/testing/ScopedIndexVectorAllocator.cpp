#include "VorexUtils/testing/ScopedIndexVectorAllocator.hpp"

namespace VorexUtils::testing {

ScopedIndexVectorAllocator::ScopedIndexVectorAllocator(AllocatorGroup group,
                                                       ltt::allocator& alloc) noexcept
    : m_group(group), m_previous(detail::exchangeIndexVectorAllocatorOverride(group, &alloc)) {}

ScopedIndexVectorAllocator::~ScopedIndexVectorAllocator() {
  detail::exchangeIndexVectorAllocatorOverride(m_group, m_previous);
}

}  // namespace VorexUtils::testing
