// Allocator groups of packed vectors. Each group selects one ltt::allocator, looked up on every
// malloc, realloc and free of a vector's buffer. The top bit of a vector's group field is its
// mapped flag and is never passed here. Thread-safe.
#pragma once

#include "ltt/allocator.hpp"

namespace VorexUtils {

/// Groups 0-16 follow the seventeen static handles (s_SingleAllocator ... s_TextAllocator).
enum AllocatorGroup : unsigned {
  IVA_Single = 0,
  IVA_Paged,
  IVA_Geometry,
  IVA_MultiValue,
  IVA_SparseCluster,
  IVA_SparseIndirect,
  IVA_SparseLrle,
  IVA_SparsePrefix,
  IVA_SparseRle,
  IVA_SparseSparse,
  IVA_MainSingleIndex,
  IVA_MainBlockIndex,
  IVA_MainRangedBlockIndex,
  IVA_Delta,
  IVA_LrleDict,
  IVA_RoDict,
  IVA_Text,
  IVA_GroupCount,
  IVA_MappedFlag = 0x80000000u,  // not a group: the mapped flag of IndexVectorRef::m_group
};

/// The allocator of `group` (a test override if one is installed, else the group's handle).
ltt::allocator& getIndexVectorAllocator(AllocatorGroup group) noexcept;

/// The group handles, each a child of the global allocator named after it without "s_".
extern ltt::refcounted_handle<ltt::allocator> s_SingleAllocator, s_PagedAllocator,
    s_GeometryAllocator, s_MultiValueAllocator, s_SparseClusterAllocator,
    s_SparseIndirectAllocator, s_SparseLrleAllocator, s_SparsePrefixAllocator,
    s_SparseRleAllocator, s_SparseSparseAllocator, s_MainSingleIndexAllocator,
    s_MainBlockIndexAllocator, s_MainRangedBlockIndexAllocator, s_DeltaAllocator,
    s_LrleDictAllocator, s_RoDictAllocator, s_TextAllocator;

namespace detail {
/// Installs `alloc` (null: none) for `group`; returns the previous override. Test hook, used
/// through VorexUtils::testing::ScopedIndexVectorAllocator.
ltt::allocator* exchangeIndexVectorAllocatorOverride(AllocatorGroup group,
                                                     ltt::allocator* alloc) noexcept;
}  // namespace detail

}  // namespace VorexUtils
