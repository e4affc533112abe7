#include "uabase/types.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "uabase/dict.h"

namespace vos {

namespace detail {

void* try_allocate(std::size_t size) noexcept {
  return std::malloc(size == 0 ? 1 : size);
}

void* allocate(std::size_t size) noexcept {
  void* p = try_allocate(size);
  if (p == nullptr) {
    std::fputs("Out of memory. Application terminates now.\n", stderr);
    std::exit(1);
  }
  return p;
}

void deallocate(void* p) noexcept {
  std::free(p);
}

counted_bytes::counted_bytes(const counted_bytes& other) {
  if (!other.is_null()) assign(other.data_, other.size());
}

counted_bytes& counted_bytes::operator=(const counted_bytes& other) {
  if (this == &other) return *this;
  if (other.is_null())
    clear();
  else
    assign(other.data_, other.size());
  return *this;
}

counted_bytes& counted_bytes::operator=(counted_bytes&& other) noexcept {
  if (this != &other) {
    deallocate(data_);
    data_ = std::exchange(other.data_, nullptr);
    len_ = std::exchange(other.len_, -1);
  }
  return *this;
}

void counted_bytes::clear() noexcept {
  deallocate(data_);
  data_ = nullptr;
  len_ = -1;
}

void counted_bytes::assign(const void* bytes, std::size_t len) {
  // The source may lie inside our own block, so copy before releasing it.
  char* block = static_cast<char*>(allocate(len + 1));
  if (len != 0) std::memcpy(block, bytes, len);
  block[len] = '\0';
  deallocate(data_);
  data_ = block;
  len_ = static_cast<int32_t>(len);
}

uint8_t* counted_bytes::try_allocate(std::size_t len) noexcept {
  if (len > static_cast<std::size_t>(INT32_MAX)) return nullptr;
  char* block = static_cast<char*>(detail::try_allocate(len + 1));
  if (block == nullptr) return nullptr;
  block[len] = '\0';
  deallocate(data_);
  data_ = block;
  len_ = static_cast<int32_t>(len);
  return reinterpret_cast<uint8_t*>(block);
}

bool counted_bytes::equals(const counted_bytes& other) const noexcept {
  if (len_ != other.len_) return false;
  return len_ <= 0 || std::memcmp(data_, other.data_, static_cast<std::size_t>(len_)) == 0;
}

std::strong_ordering counted_bytes::compare(const counted_bytes& other) const noexcept {
  if (is_null() || other.is_null()) return other.is_null() <=> is_null();
  std::size_t n = std::min(size(), other.size());
  int c = n == 0 ? 0 : std::memcmp(data_, other.data_, n);
  if (c != 0) return c < 0 ? std::strong_ordering::less : std::strong_ordering::greater;
  return len_ <=> other.len_;
}

}  // namespace detail

// ---------------------------------------------------------------------------------------------
// ua_nodeid

namespace {

char* copy_block(const void* src, std::size_t n) {
  char* p = static_cast<char*>(detail::allocate(n == 0 ? 1 : n));
  if (n != 0) std::memcpy(p, src, n);
  return p;
}

std::size_t block_size(ua_nodeid_type type, uint32_t value) {
  switch (type) {
    case ua_nodeid_type::guid:
      return sizeof(ua_guid);
    case ua_nodeid_type::string:
    case ua_nodeid_type::opaque:
      return value;
    default:
      return 0;
  }
}

}  // namespace

ua_nodeid::ua_nodeid(const ua_nodeid& other)
    : value_(other.value_), ns_(other.ns_), type_(other.type_) {
  if (other.data_ != nullptr) data_ = copy_block(other.data_, block_size(type_, value_));
}

ua_nodeid& ua_nodeid::operator=(const ua_nodeid& other) {
  if (this != &other) *this = ua_nodeid(other);
  return *this;
}

ua_nodeid& ua_nodeid::operator=(ua_nodeid&& other) noexcept {
  if (this != &other) {
    detail::deallocate(data_);
    data_ = std::exchange(other.data_, nullptr);
    value_ = std::exchange(other.value_, 0);
    ns_ = std::exchange(other.ns_, 0);
    type_ = std::exchange(other.type_, ua_nodeid_type::numeric);
  }
  return *this;
}

ua_nodeid ua_nodeid::make_string(uint16_t ns, std::string_view id) {
  ua_nodeid n;
  n.ns_ = ns;
  n.type_ = ua_nodeid_type::string;
  n.value_ = static_cast<uint32_t>(id.size());
  if (!id.empty()) n.data_ = copy_block(id.data(), id.size());
  return n;
}

ua_nodeid ua_nodeid::make_guid(uint16_t ns, const ua_guid& id) {
  ua_nodeid n;
  n.ns_ = ns;
  n.type_ = ua_nodeid_type::guid;
  n.data_ = copy_block(&id, sizeof id);
  return n;
}

ua_nodeid ua_nodeid::make_opaque(uint16_t ns, std::span<const uint8_t> id) {
  ua_nodeid n;
  n.ns_ = ns;
  n.type_ = ua_nodeid_type::opaque;
  n.value_ = static_cast<uint32_t>(id.size());
  if (!id.empty()) n.data_ = copy_block(id.data(), id.size());
  return n;
}

std::string_view ua_nodeid::string_id() const noexcept {
  if (type_ != ua_nodeid_type::string || data_ == nullptr) return {};
  return {data_, value_};
}

ua_guid ua_nodeid::guid_id() const noexcept {
  ua_guid g;
  if (type_ == ua_nodeid_type::guid && data_ != nullptr) std::memcpy(&g, data_, sizeof g);
  return g;
}

std::span<const uint8_t> ua_nodeid::opaque_id() const noexcept {
  if (type_ != ua_nodeid_type::opaque || data_ == nullptr) return {};
  return {reinterpret_cast<const uint8_t*>(data_), value_};
}

bool ua_nodeid::is_null() const noexcept {
  if (ns_ != 0) return false;
  switch (type_) {
    case ua_nodeid_type::numeric:
      return value_ == 0;
    case ua_nodeid_type::guid:
      return guid_id().is_null();
    default:
      return value_ == 0;
  }
}

void ua_nodeid::clear() noexcept {
  *this = ua_nodeid();
}

std::size_t ua_nodeid::hash() const noexcept {
  uint64_t h;
  if (type_ == ua_nodeid_type::numeric) {
    h = value_;
  } else {
    // FNV-1a over the identifier bytes.
    h = 1469598103934665603ULL;
    std::size_t n = block_size(type_, value_);
    for (std::size_t i = 0; i < n; ++i) {
      h ^= static_cast<unsigned char>(data_[i]);
      h *= 1099511628211ULL;
    }
    h ^= static_cast<uint64_t>(type_) << 56;
  }
  h ^= static_cast<uint64_t>(ns_) << 40;
  return static_cast<std::size_t>(h);
}

bool operator==(const ua_nodeid& a, const ua_nodeid& b) noexcept {
  if (a.ns_ != b.ns_ || a.type_ != b.type_ || a.value_ != b.value_) return false;
  std::size_t n = block_size(a.type_, a.value_);
  return n == 0 || std::memcmp(a.data_, b.data_, n) == 0;
}

std::strong_ordering operator<=>(const ua_nodeid& a, const ua_nodeid& b) noexcept {
  if (auto c = a.ns_ <=> b.ns_; c != 0) return c;
  if (auto c = a.type_ <=> b.type_; c != 0) return c;
  switch (a.type_) {
    case ua_nodeid_type::numeric:
      return a.value_ <=> b.value_;
    case ua_nodeid_type::guid:
      return a.guid_id() <=> b.guid_id();
    default: {
      std::size_t n = std::min(a.value_, b.value_);
      int c = n == 0 ? 0 : std::memcmp(a.data_, b.data_, n);
      if (c != 0) return c < 0 ? std::strong_ordering::less : std::strong_ordering::greater;
      return a.value_ <=> b.value_;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Built-in value operations

namespace {

template <std::size_t... I>
constexpr auto make_builtin_ops(std::index_sequence<I...>) {
  return std::array<const ua_value_ops*, sizeof...(I) + 1>{
      nullptr, &ua_value_ops_v<ua_builtin_t<static_cast<uint8_t>(I + 1)>>...};
}

const auto g_builtin_ops = make_builtin_ops(std::make_index_sequence<UA_VT_MAX>());

}  // namespace

const ua_value_ops* ua_builtin_ops(uint8_t code) noexcept {
  return code < g_builtin_ops.size() ? g_builtin_ops[code] : nullptr;
}

std::size_t ua_builtin_size(uint8_t code) noexcept {
  const ua_value_ops* ops = ua_builtin_ops(code);
  return ops != nullptr ? ops->size : 0;
}

std::size_t ua_builtin_align(uint8_t code) noexcept {
  const ua_value_ops* ops = ua_builtin_ops(code);
  return ops != nullptr ? ops->align : 0;
}

// ---------------------------------------------------------------------------------------------
// ua_variant

bool ua_variant::held_inside(uint8_t code) noexcept {
  return (code >= UA_VT_BOOLEAN && code <= UA_VT_DOUBLE) || code == UA_VT_DATETIME ||
         code == UA_VT_STATUSCODE;
}

ua_variant::ua_variant(const ua_variant& other)
    : type_(other.type_), length_(other.length_), dims_(other.dims_) {
  const uint8_t code = other.type();
  if (other.is_array()) {
    const ua_value_ops* ops = ua_builtin_ops(code);
    if (other.heap_ != nullptr && length_ > 0) {
      heap_ = detail::allocate(static_cast<std::size_t>(length_) * ops->size);
      ops->copy_construct_n(heap_, other.heap_, static_cast<std::size_t>(length_));
    }
  } else if (other.type_ == UA_VT_NULL || held_inside(code)) {
    std::memcpy(inside_, other.inside_, sizeof inside_);
  } else {
    const ua_value_ops* ops = ua_builtin_ops(code);
    heap_ = detail::allocate(ops->size);
    ops->copy_construct_n(heap_, other.heap_, 1);
  }
}

ua_variant::ua_variant(ua_variant&& other) noexcept
    : type_(std::exchange(other.type_, UA_VT_NULL)),
      length_(std::exchange(other.length_, 0)),
      dims_(std::move(other.dims_)) {
  std::memcpy(inside_, other.inside_, sizeof inside_);
  other.heap_ = nullptr;
}

ua_variant& ua_variant::operator=(const ua_variant& other) {
  if (this != &other) *this = ua_variant(other);
  return *this;
}

ua_variant& ua_variant::operator=(ua_variant&& other) noexcept {
  if (this != &other) {
    clear();
    type_ = std::exchange(other.type_, UA_VT_NULL);
    length_ = std::exchange(other.length_, 0);
    dims_ = std::move(other.dims_);
    std::memcpy(inside_, other.inside_, sizeof inside_);
    other.heap_ = nullptr;
  }
  return *this;
}

void ua_variant::clear() noexcept {
  const uint8_t code = type();
  if (type_ != UA_VT_NULL && (is_array() || !held_inside(code)) && heap_ != nullptr) {
    ua_builtin_ops(code)->destroy_n(heap_, is_array() ? static_cast<std::size_t>(length_) : 1);
    detail::deallocate(heap_);
  }
  heap_ = nullptr;
  type_ = UA_VT_NULL;
  length_ = 0;
  dims_.clear();
}

void* ua_variant::emplace_scalar(uint8_t code) {
  clear();
  const ua_value_ops* ops = ua_builtin_ops(code);
  if (ops == nullptr) return nullptr;
  type_ = code;
  if (held_inside(code)) {
    ops->construct_n(inside_, 1);
    return inside_;
  }
  heap_ = detail::allocate(ops->size);
  ops->construct_n(heap_, 1);
  return heap_;
}

void* ua_variant::try_emplace_array(uint8_t code, std::size_t n) noexcept {
  clear();
  const ua_value_ops* ops = ua_builtin_ops(code);
  if (ops == nullptr || n > static_cast<std::size_t>(INT32_MAX)) return nullptr;
  if (n != 0) {
    heap_ = detail::try_allocate(n * ops->size);
    if (heap_ == nullptr) return nullptr;
    ops->construct_n(heap_, n);
  }
  type_ = static_cast<uint8_t>(code | UA_VT_ARRAY);
  length_ = static_cast<int32_t>(n);
  return heap_;
}

void* ua_variant::emplace_array(uint8_t code, std::size_t n) {
  clear();
  const ua_value_ops* ops = ua_builtin_ops(code);
  if (ops == nullptr || n > static_cast<std::size_t>(INT32_MAX)) return nullptr;
  if (n != 0) {
    heap_ = detail::allocate(n * ops->size);
    ops->construct_n(heap_, n);
  }
  type_ = static_cast<uint8_t>(code | UA_VT_ARRAY);
  length_ = static_cast<int32_t>(n);
  return heap_;
}

void* ua_variant::scalar_data() noexcept {
  if (!is_scalar()) return nullptr;
  return held_inside(type()) ? static_cast<void*>(inside_) : heap_;
}

const void* ua_variant::scalar_data() const noexcept {
  if (!is_scalar()) return nullptr;
  return held_inside(type()) ? static_cast<const void*>(inside_) : heap_;
}

void ua_variant::set_dimensions(std::span<const int32_t> dims) {
  dims_ = ua_array<int32_t>(dims);
  if (dims.empty())
    type_ = static_cast<uint8_t>(type_ & ~UA_VT_MATRIX);
  else
    type_ = static_cast<uint8_t>(type_ | UA_VT_MATRIX);
}

bool operator==(const ua_variant& a, const ua_variant& b) {
  if (a.type_ != b.type_ || a.length_ != b.length_ || !(a.dims_ == b.dims_)) return false;
  if (a.type_ == UA_VT_NULL) return true;
  const ua_value_ops* ops = ua_builtin_ops(a.type());
  if (a.is_array()) {
    const auto* pa = static_cast<const unsigned char*>(a.heap_);
    const auto* pb = static_cast<const unsigned char*>(b.heap_);
    for (int32_t i = 0; i < a.length_; ++i, pa += ops->size, pb += ops->size)
      if (!ops->equal(pa, pb)) return false;
    return true;
  }
  return ops->equal(a.scalar_data(), b.scalar_data());
}

// ---------------------------------------------------------------------------------------------
// ua_extensionobject

ua_extensionobject::ua_extensionobject(const ua_extensionobject& other)
    : type_id_(other.type_id_), encoding_id_(other.encoding_id_) {
  switch (other.kind_) {
    case ua_extensionobject_body::none:
      break;
    case ua_extensionobject_body::decoded: {
      const ua_value_ops* ops = other.desc_->ops;
      obj_ = detail::allocate(ops->size);
      ops->copy_construct_n(obj_, other.obj_, 1);
      desc_ = other.desc_;
      type_index_ = other.type_index_;
      kind_ = other.kind_;
      break;
    }
    default: {
      void* mem = detail::allocate(sizeof(ua_bytestring));
      body_ = ::new (mem) ua_bytestring(*other.body_);
      kind_ = other.kind_;
      break;
    }
  }
}

ua_extensionobject::ua_extensionobject(ua_extensionobject&& other) noexcept
    : type_id_(std::move(other.type_id_)),
      encoding_id_(std::move(other.encoding_id_)),
      kind_(std::exchange(other.kind_, ua_extensionobject_body::none)),
      type_index_(std::exchange(other.type_index_, 0)),
      desc_(std::exchange(other.desc_, nullptr)) {
  obj_ = std::exchange(other.obj_, nullptr);
}

ua_extensionobject& ua_extensionobject::operator=(const ua_extensionobject& other) {
  if (this != &other) *this = ua_extensionobject(other);
  return *this;
}

ua_extensionobject& ua_extensionobject::operator=(ua_extensionobject&& other) noexcept {
  if (this != &other) {
    clear();
    type_id_ = std::move(other.type_id_);
    encoding_id_ = std::move(other.encoding_id_);
    kind_ = std::exchange(other.kind_, ua_extensionobject_body::none);
    type_index_ = std::exchange(other.type_index_, 0);
    desc_ = std::exchange(other.desc_, nullptr);
    obj_ = std::exchange(other.obj_, nullptr);
  }
  return *this;
}

const ua_bytestring* ua_extensionobject::encoded() const noexcept {
  switch (kind_) {
    case ua_extensionobject_body::binary:
    case ua_extensionobject_body::xml:
    case ua_extensionobject_body::json:
      return body_;
    default:
      return nullptr;
  }
}

void ua_extensionobject::clear_body() noexcept {
  switch (kind_) {
    case ua_extensionobject_body::none:
      break;
    case ua_extensionobject_body::decoded:
      desc_->ops->destroy_n(obj_, 1);
      detail::deallocate(obj_);
      break;
    default:
      std::destroy_at(body_);
      detail::deallocate(body_);
      break;
  }
  obj_ = nullptr;
  desc_ = nullptr;
  type_index_ = 0;
  kind_ = ua_extensionobject_body::none;
}

void ua_extensionobject::clear() noexcept {
  clear_body();
  type_id_.clear();
  encoding_id_.clear();
}

void ua_extensionobject::set_encoded(ua_extensionobject_body kind, ua_bytestring body) {
  clear_body();
  if (kind == ua_extensionobject_body::none || kind == ua_extensionobject_body::decoded) return;
  void* mem = detail::allocate(sizeof(ua_bytestring));
  body_ = ::new (mem) ua_bytestring(std::move(body));
  kind_ = kind;
}

void* ua_extensionobject::emplace_decoded(const ua_dict_structure& desc, uint32_t type_index) {
  clear_body();
  obj_ = detail::allocate(desc.ops->size);
  desc.ops->construct_n(obj_, 1);
  desc_ = &desc;
  type_index_ = type_index;
  kind_ = ua_extensionobject_body::decoded;
  return obj_;
}

bool operator==(const ua_extensionobject& a, const ua_extensionobject& b) {
  if (a.kind_ != b.kind_ || !(a.type_id_ == b.type_id_) || !(a.encoding_id_ == b.encoding_id_))
    return false;
  switch (a.kind_) {
    case ua_extensionobject_body::none:
      return true;
    case ua_extensionobject_body::decoded:
      return a.desc_ == b.desc_ && a.desc_->ops->equal(a.obj_, b.obj_);
    default:
      return *a.body_ == *b.body_;
  }
}

}  // namespace vos
