// Built-in OPC UA value types (IEC 62541-3/-6) as C++ value types.
//
// Every type here owns what it holds, copies deeply, moves cheaply and compares by value.
// The types are standard-layout, so that structures made of them can be described by the
// member offsets of the type dictionary (uabase/dict.h).
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace vos {

// Built-in type codes (the OPC UA built-in type ids).
inline constexpr uint8_t UA_VT_NULL = 0;
inline constexpr uint8_t UA_VT_BOOLEAN = 1;
inline constexpr uint8_t UA_VT_SBYTE = 2;
inline constexpr uint8_t UA_VT_BYTE = 3;
inline constexpr uint8_t UA_VT_INT16 = 4;
inline constexpr uint8_t UA_VT_UINT16 = 5;
inline constexpr uint8_t UA_VT_INT32 = 6;
inline constexpr uint8_t UA_VT_UINT32 = 7;
inline constexpr uint8_t UA_VT_INT64 = 8;
inline constexpr uint8_t UA_VT_UINT64 = 9;
inline constexpr uint8_t UA_VT_FLOAT = 10;
inline constexpr uint8_t UA_VT_DOUBLE = 11;
inline constexpr uint8_t UA_VT_STRING = 12;
inline constexpr uint8_t UA_VT_DATETIME = 13;
inline constexpr uint8_t UA_VT_GUID = 14;
inline constexpr uint8_t UA_VT_BYTESTRING = 15;
inline constexpr uint8_t UA_VT_XMLELEMENT = 16;
inline constexpr uint8_t UA_VT_NODEID = 17;
inline constexpr uint8_t UA_VT_EXPANDEDNODEID = 18;
inline constexpr uint8_t UA_VT_STATUSCODE = 19;
inline constexpr uint8_t UA_VT_QUALIFIEDNAME = 20;
inline constexpr uint8_t UA_VT_LOCALIZEDTEXT = 21;
inline constexpr uint8_t UA_VT_EXTENSIONOBJECT = 22;
inline constexpr uint8_t UA_VT_DATAVALUE = 23;
inline constexpr uint8_t UA_VT_VARIANT = 24;
inline constexpr uint8_t UA_VT_DIAGNOSTICINFO = 25;
// The highest built-in type code.
inline constexpr uint8_t UA_VT_MAX = UA_VT_DIAGNOSTICINFO;

// Flag bits of a variant's type byte (the same bits as in the binary variant encoding mask).
inline constexpr uint8_t UA_VT_ARRAY = 0x80;     // the value is an array
inline constexpr uint8_t UA_VT_MATRIX = 0x40;    // the array has dimensions
inline constexpr uint8_t UA_VT_TYPEMASK = 0x3F;  // the built-in type code

namespace detail {

// Allocation of owned blocks. try_allocate returns null when memory is exhausted;
// allocate ends the program with "Out of memory. Application terminates now.\n".
void* try_allocate(std::size_t size) noexcept;
void* allocate(std::size_t size) noexcept;
void deallocate(void* p) noexcept;

// Owning byte block with an explicit length, -1 meaning null. The text is always followed by
// a terminating zero byte that is not part of the length.
class counted_bytes {
 public:
  counted_bytes() noexcept = default;
  counted_bytes(const counted_bytes& other);
  counted_bytes(counted_bytes&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), len_(std::exchange(other.len_, -1)) {}
  counted_bytes& operator=(const counted_bytes& other);
  counted_bytes& operator=(counted_bytes&& other) noexcept;
  ~counted_bytes() { deallocate(data_); }

  bool is_null() const noexcept { return len_ < 0; }
  // Null or of length 0.
  bool empty() const noexcept { return len_ <= 0; }
  // -1 for null.
  int32_t length() const noexcept { return len_; }
  // 0 for null.
  std::size_t size() const noexcept { return len_ < 0 ? 0 : static_cast<std::size_t>(len_); }
  // Makes the value null and releases the bytes.
  void clear() noexcept;
  // Makes the value non-null with a copy of the bytes (the length must fit in 31 bits).
  void assign(const void* bytes, std::size_t len);
  // Makes the value non-null with `len` uninitialised bytes and returns them for writing, or
  // null (value unchanged) when memory is exhausted.
  uint8_t* try_allocate(std::size_t len) noexcept;

  // Null equals only null. Null sorts first, then byte-wise lexicographic order.
  bool equals(const counted_bytes& other) const noexcept;
  std::strong_ordering compare(const counted_bytes& other) const noexcept;

 protected:
  const char* chars() const noexcept { return data_ != nullptr ? data_ : ""; }

 private:
  char* data_ = nullptr;
  int32_t len_ = -1;
};

}  // namespace detail

// UTF-8 text with a length; a null string (OPC UA length -1) differs from an empty one.
class ua_string : public detail::counted_bytes {
 public:
  ua_string() noexcept = default;
  ua_string(std::string_view text) { assign(text.data(), text.size()); }     // NOLINT: implicit
  ua_string(const char* text) : ua_string(std::string_view(text)) {}         // NOLINT: implicit
  ua_string(const std::string& text) : ua_string(std::string_view(text)) {}  // NOLINT: implicit
  static ua_string null() noexcept { return ua_string(); }

  void assign(std::string_view text) { counted_bytes::assign(text.data(), text.size()); }
  using counted_bytes::assign;
  // The text; "" for null. Always NUL-terminated.
  const char* data() const noexcept { return chars(); }
  const char* c_str() const noexcept { return chars(); }
  std::string_view view() const noexcept { return {chars(), size()}; }
  operator std::string_view() const noexcept { return view(); }  // NOLINT: implicit

  friend bool operator==(const ua_string& a, const ua_string& b) noexcept { return a.equals(b); }
  friend std::strong_ordering operator<=>(const ua_string& a, const ua_string& b) noexcept {
    return a.compare(b);
  }
};

// Bytes with a length; null (length -1) differs from empty.
class ua_bytestring : public detail::counted_bytes {
 public:
  ua_bytestring() noexcept = default;
  explicit ua_bytestring(std::span<const uint8_t> bytes) { assign(bytes.data(), bytes.size()); }
  explicit ua_bytestring(std::string_view bytes) { assign(bytes.data(), bytes.size()); }
  static ua_bytestring null() noexcept { return ua_bytestring(); }

  const uint8_t* data() const noexcept { return reinterpret_cast<const uint8_t*>(chars()); }
  std::span<const uint8_t> bytes() const noexcept { return {data(), size()}; }
  std::string_view view() const noexcept { return {chars(), size()}; }

  friend bool operator==(const ua_bytestring& a, const ua_bytestring& b) noexcept {
    return a.equals(b);
  }
  friend std::strong_ordering operator<=>(const ua_bytestring& a, const ua_bytestring& b) noexcept {
    return a.compare(b);
  }
};

// DateTime: 100-nanosecond ticks since 1601-01-01T00:00:00Z.
struct ua_datetime {
  int64_t ticks = 0;
  friend constexpr auto operator<=>(const ua_datetime&, const ua_datetime&) = default;
};

struct ua_statuscode {
  uint32_t code = 0;
  friend constexpr auto operator<=>(const ua_statuscode&, const ua_statuscode&) = default;
};

struct ua_guid {
  uint32_t data1 = 0;
  uint16_t data2 = 0;
  uint16_t data3 = 0;
  uint8_t data4[8] = {};
  friend constexpr auto operator<=>(const ua_guid&, const ua_guid&) = default;
  bool is_null() const noexcept { return *this == ua_guid{}; }
};

// NodeId identifier types, in their sort order.
enum class ua_nodeid_type : uint8_t { numeric = 0, string = 1, guid = 2, opaque = 3 };

// NodeId: 16-bit namespace index and a numeric, string, GUID or opaque identifier, held in
// 16 bytes. The default value is the null NodeId (namespace 0, numeric 0).
class ua_nodeid {
 public:
  constexpr ua_nodeid() noexcept = default;
  constexpr ua_nodeid(uint16_t ns, uint32_t id) noexcept : value_(id), ns_(ns) {}
  ua_nodeid(const ua_nodeid& other);
  ua_nodeid(ua_nodeid&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        value_(std::exchange(other.value_, 0)),
        ns_(std::exchange(other.ns_, 0)),
        type_(std::exchange(other.type_, ua_nodeid_type::numeric)) {}
  ua_nodeid& operator=(const ua_nodeid& other);
  ua_nodeid& operator=(ua_nodeid&& other) noexcept;
  ~ua_nodeid() { detail::deallocate(data_); }

  static ua_nodeid make_numeric(uint16_t ns, uint32_t id) noexcept { return {ns, id}; }
  static ua_nodeid make_string(uint16_t ns, std::string_view id);
  static ua_nodeid make_guid(uint16_t ns, const ua_guid& id);
  static ua_nodeid make_opaque(uint16_t ns, std::span<const uint8_t> id);

  uint16_t ns() const noexcept { return ns_; }
  void set_ns(uint16_t ns) noexcept { ns_ = ns; }
  ua_nodeid_type type() const noexcept { return type_; }
  bool is_numeric() const noexcept { return type_ == ua_nodeid_type::numeric; }

  // The identifier; each accessor is meaningful only for its own identifier type
  // (numeric_id() is 0, the views are empty and guid_id() is the null GUID otherwise).
  uint32_t numeric_id() const noexcept { return type_ == ua_nodeid_type::numeric ? value_ : 0; }
  std::string_view string_id() const noexcept;
  ua_guid guid_id() const noexcept;
  std::span<const uint8_t> opaque_id() const noexcept;

  // Namespace 0 with a zero numeric, empty string or opaque, or null GUID identifier.
  bool is_null() const noexcept;
  // Back to the null NodeId.
  void clear() noexcept;
  std::size_t hash() const noexcept;

  friend bool operator==(const ua_nodeid& a, const ua_nodeid& b) noexcept;
  // Namespace, then identifier type (numeric < string < guid < opaque), then identifier
  // (numbers by value, GUIDs by their fields, strings and opaque ids byte-wise).
  friend std::strong_ordering operator<=>(const ua_nodeid& a, const ua_nodeid& b) noexcept;

 private:
  // Bytes of a string or opaque identifier (value_ is then the length) or of a GUID.
  char* data_ = nullptr;
  uint32_t value_ = 0;
  uint16_t ns_ = 0;
  ua_nodeid_type type_ = ua_nodeid_type::numeric;
};

struct ua_expandednodeid {
  ua_nodeid node_id;
  ua_string namespace_uri;  // null when absent
  uint32_t server_index = 0;
  friend bool operator==(const ua_expandednodeid&, const ua_expandednodeid&) = default;
  friend std::strong_ordering operator<=>(const ua_expandednodeid&,
                                          const ua_expandednodeid&) = default;
};

struct ua_qualifiedname {
  uint16_t ns = 0;
  ua_string name;
  friend bool operator==(const ua_qualifiedname&, const ua_qualifiedname&) = default;
  friend std::strong_ordering operator<=>(const ua_qualifiedname&,
                                          const ua_qualifiedname&) = default;
};

struct ua_localizedtext {
  ua_string locale;  // null when absent
  ua_string text;    // null when absent
  friend bool operator==(const ua_localizedtext&, const ua_localizedtext&) = default;
  friend std::strong_ordering operator<=>(const ua_localizedtext&,
                                          const ua_localizedtext&) = default;
};

// An owned array of T (OPC UA arrays have an Int32 length): a minimal vector without the
// bool specialisation, standard-layout, deep-copying.
template <class T>
class ua_array {
 public:
  ua_array() noexcept = default;
  explicit ua_array(std::size_t n) { resize(n); }
  ua_array(std::initializer_list<T> init) {
    reserve_exact(init.size());
    std::uninitialized_copy(init.begin(), init.end(), data_);
    size_ = static_cast<uint32_t>(init.size());
  }
  ua_array(std::span<const T> items) {
    reserve_exact(items.size());
    std::uninitialized_copy(items.begin(), items.end(), data_);
    size_ = static_cast<uint32_t>(items.size());
  }
  ua_array(const ua_array& other) : ua_array(std::span<const T>(other.data_, other.size_)) {}
  ua_array(ua_array&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  ua_array& operator=(const ua_array& other) {
    if (this != &other) *this = ua_array(other);
    return *this;
  }
  ua_array& operator=(ua_array&& other) noexcept {
    if (this != &other) {
      clear();
      data_ = std::exchange(other.data_, nullptr);
      size_ = std::exchange(other.size_, 0);
    }
    return *this;
  }
  ~ua_array() { clear(); }

  // Replaces the contents with n value-initialised elements.
  void resize(std::size_t n) {
    clear();
    if (n == 0) return;
    reserve_exact(n);
    std::uninitialized_value_construct_n(data_, n);
    size_ = static_cast<uint32_t>(n);
  }
  // As resize, but returns false (array left empty) when memory is exhausted.
  bool try_resize(std::size_t n) noexcept {
    clear();
    if (n == 0) return true;
    if (n > SIZE_MAX / sizeof(T)) return false;
    data_ = static_cast<T*>(detail::try_allocate(n * sizeof(T)));
    if (data_ == nullptr) return false;
    std::uninitialized_value_construct_n(data_, n);
    size_ = static_cast<uint32_t>(n);
    return true;
  }
  void clear() noexcept {
    if (data_ != nullptr) {
      std::destroy_n(data_, size_);
      detail::deallocate(data_);
    }
    data_ = nullptr;
    size_ = 0;
  }

  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  T* data() noexcept { return data_; }
  const T* data() const noexcept { return data_; }
  T* begin() noexcept { return data_; }
  T* end() noexcept { return data_ + size_; }
  const T* begin() const noexcept { return data_; }
  const T* end() const noexcept { return data_ + size_; }
  T& operator[](std::size_t i) noexcept { return data_[i]; }
  const T& operator[](std::size_t i) const noexcept { return data_[i]; }
  std::span<T> span() noexcept { return {data_, size_}; }
  std::span<const T> span() const noexcept { return {data_, size_}; }

  friend bool operator==(const ua_array& a, const ua_array& b) {
    if (a.size_ != b.size_) return false;
    for (std::size_t i = 0; i < a.size_; ++i)
      if (!(a.data_[i] == b.data_[i])) return false;
    return true;
  }

 private:
  void reserve_exact(std::size_t n) {
    if (n == 0) return;
    data_ = static_cast<T*>(detail::allocate(n * sizeof(T)));
  }
  T* data_ = nullptr;
  uint32_t size_ = 0;
};

// An owned, nullable, deep-copying pointer to one T (for recursive values).
template <class T>
class ua_box {
 public:
  ua_box() noexcept = default;
  ua_box(const ua_box& other) {
    if (other.p_ != nullptr) emplace(*other.p_);
  }
  ua_box(ua_box&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  ua_box& operator=(const ua_box& other) {
    if (this != &other) *this = ua_box(other);
    return *this;
  }
  ua_box& operator=(ua_box&& other) noexcept {
    if (this != &other) {
      reset();
      p_ = std::exchange(other.p_, nullptr);
    }
    return *this;
  }
  ~ua_box() { reset(); }

  template <class... Args>
  T& emplace(Args&&... args) {
    reset();
    void* mem = detail::allocate(sizeof(T));
    p_ = ::new (mem) T(std::forward<Args>(args)...);
    return *p_;
  }
  void reset() noexcept {
    if (p_ != nullptr) {
      std::destroy_at(p_);
      detail::deallocate(p_);
      p_ = nullptr;
    }
  }
  T* get() noexcept { return p_; }
  const T* get() const noexcept { return p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }
  T& operator*() noexcept { return *p_; }
  const T& operator*() const noexcept { return *p_; }
  T* operator->() noexcept { return p_; }
  const T* operator->() const noexcept { return p_; }

  friend bool operator==(const ua_box& a, const ua_box& b) {
    if (a.p_ == nullptr || b.p_ == nullptr) return a.p_ == b.p_;
    return *a.p_ == *b.p_;
  }

 private:
  T* p_ = nullptr;
};

class ua_variant;
class ua_extensionobject;
struct ua_datavalue;
struct ua_diagnosticinfo;

// The C++ type that holds a value of each built-in type code (XmlElement is held as
// ua_bytestring, the abstract codes have none).
template <uint8_t Code>
struct ua_builtin;
template <>
struct ua_builtin<UA_VT_BOOLEAN> {
  using type = bool;
};
template <>
struct ua_builtin<UA_VT_SBYTE> {
  using type = int8_t;
};
template <>
struct ua_builtin<UA_VT_BYTE> {
  using type = uint8_t;
};
template <>
struct ua_builtin<UA_VT_INT16> {
  using type = int16_t;
};
template <>
struct ua_builtin<UA_VT_UINT16> {
  using type = uint16_t;
};
template <>
struct ua_builtin<UA_VT_INT32> {
  using type = int32_t;
};
template <>
struct ua_builtin<UA_VT_UINT32> {
  using type = uint32_t;
};
template <>
struct ua_builtin<UA_VT_INT64> {
  using type = int64_t;
};
template <>
struct ua_builtin<UA_VT_UINT64> {
  using type = uint64_t;
};
template <>
struct ua_builtin<UA_VT_FLOAT> {
  using type = float;
};
template <>
struct ua_builtin<UA_VT_DOUBLE> {
  using type = double;
};
template <>
struct ua_builtin<UA_VT_STRING> {
  using type = ua_string;
};
template <>
struct ua_builtin<UA_VT_DATETIME> {
  using type = ua_datetime;
};
template <>
struct ua_builtin<UA_VT_GUID> {
  using type = ua_guid;
};
template <>
struct ua_builtin<UA_VT_BYTESTRING> {
  using type = ua_bytestring;
};
template <>
struct ua_builtin<UA_VT_XMLELEMENT> {
  using type = ua_bytestring;
};
template <>
struct ua_builtin<UA_VT_NODEID> {
  using type = ua_nodeid;
};
template <>
struct ua_builtin<UA_VT_EXPANDEDNODEID> {
  using type = ua_expandednodeid;
};
template <>
struct ua_builtin<UA_VT_STATUSCODE> {
  using type = ua_statuscode;
};
template <>
struct ua_builtin<UA_VT_QUALIFIEDNAME> {
  using type = ua_qualifiedname;
};
template <>
struct ua_builtin<UA_VT_LOCALIZEDTEXT> {
  using type = ua_localizedtext;
};
template <>
struct ua_builtin<UA_VT_EXTENSIONOBJECT> {
  using type = ua_extensionobject;
};
template <>
struct ua_builtin<UA_VT_DATAVALUE> {
  using type = ua_datavalue;
};
template <>
struct ua_builtin<UA_VT_VARIANT> {
  using type = ua_variant;
};
template <>
struct ua_builtin<UA_VT_DIAGNOSTICINFO> {
  using type = ua_diagnosticinfo;
};
template <uint8_t Code>
using ua_builtin_t = typename ua_builtin<Code>::type;

// The built-in type code of a C++ value type (ua_bytestring gives ByteString).
template <class T>
inline constexpr uint8_t ua_type_code_v = UA_VT_NULL;
template <>
inline constexpr uint8_t ua_type_code_v<bool> = UA_VT_BOOLEAN;
template <>
inline constexpr uint8_t ua_type_code_v<int8_t> = UA_VT_SBYTE;
template <>
inline constexpr uint8_t ua_type_code_v<uint8_t> = UA_VT_BYTE;
template <>
inline constexpr uint8_t ua_type_code_v<int16_t> = UA_VT_INT16;
template <>
inline constexpr uint8_t ua_type_code_v<uint16_t> = UA_VT_UINT16;
template <>
inline constexpr uint8_t ua_type_code_v<int32_t> = UA_VT_INT32;
template <>
inline constexpr uint8_t ua_type_code_v<uint32_t> = UA_VT_UINT32;
template <>
inline constexpr uint8_t ua_type_code_v<int64_t> = UA_VT_INT64;
template <>
inline constexpr uint8_t ua_type_code_v<uint64_t> = UA_VT_UINT64;
template <>
inline constexpr uint8_t ua_type_code_v<float> = UA_VT_FLOAT;
template <>
inline constexpr uint8_t ua_type_code_v<double> = UA_VT_DOUBLE;
template <>
inline constexpr uint8_t ua_type_code_v<ua_string> = UA_VT_STRING;
template <>
inline constexpr uint8_t ua_type_code_v<ua_datetime> = UA_VT_DATETIME;
template <>
inline constexpr uint8_t ua_type_code_v<ua_guid> = UA_VT_GUID;
template <>
inline constexpr uint8_t ua_type_code_v<ua_bytestring> = UA_VT_BYTESTRING;
template <>
inline constexpr uint8_t ua_type_code_v<ua_nodeid> = UA_VT_NODEID;
template <>
inline constexpr uint8_t ua_type_code_v<ua_expandednodeid> = UA_VT_EXPANDEDNODEID;
template <>
inline constexpr uint8_t ua_type_code_v<ua_statuscode> = UA_VT_STATUSCODE;
template <>
inline constexpr uint8_t ua_type_code_v<ua_qualifiedname> = UA_VT_QUALIFIEDNAME;
template <>
inline constexpr uint8_t ua_type_code_v<ua_localizedtext> = UA_VT_LOCALIZEDTEXT;
template <>
inline constexpr uint8_t ua_type_code_v<ua_extensionobject> = UA_VT_EXTENSIONOBJECT;
template <>
inline constexpr uint8_t ua_type_code_v<ua_datavalue> = UA_VT_DATAVALUE;
template <>
inline constexpr uint8_t ua_type_code_v<ua_variant> = UA_VT_VARIANT;
template <>
inline constexpr uint8_t ua_type_code_v<ua_diagnosticinfo> = UA_VT_DIAGNOSTICINFO;

// True when a value of built-in type `code` is held as a C++ T (XmlElement as ua_bytestring).
template <class T>
constexpr bool ua_holds_as(uint8_t code) noexcept {
  if constexpr (std::is_same_v<T, ua_bytestring>)
    return code == UA_VT_BYTESTRING || code == UA_VT_XMLELEMENT;
  else
    return code != UA_VT_NULL && code == ua_type_code_v<T>;
}

// Type-erased operations on a C++ value type, used where a value is known only by its type
// code or type descriptor (variants, extension object bodies, the structure walker).
struct ua_value_ops {
  uint32_t size;
  uint32_t align;
  // Value-initialise, destroy or copy-construct n objects in raw memory.
  void (*construct_n)(void* p, std::size_t n);
  void (*destroy_n)(void* p, std::size_t n);
  void (*copy_construct_n)(void* dst, const void* src, std::size_t n);
  void (*copy_assign)(void* dst, const void* src);
  bool (*equal)(const void* a, const void* b);
  // On a ua_array<T>: make it n value-initialised elements (false when out of memory), its
  // elements and its length.
  bool (*array_try_resize)(void* array, std::size_t n);
  void* (*array_data)(const void* array);
  std::size_t (*array_size)(const void* array);
};

template <class T>
inline constexpr ua_value_ops ua_value_ops_v = {
    static_cast<uint32_t>(sizeof(T)),
    static_cast<uint32_t>(alignof(T)),
    [](void* p, std::size_t n) { std::uninitialized_value_construct_n(static_cast<T*>(p), n); },
    [](void* p, std::size_t n) { std::destroy_n(static_cast<T*>(p), n); },
    [](void* dst, const void* src, std::size_t n) {
      std::uninitialized_copy_n(static_cast<const T*>(src), n, static_cast<T*>(dst));
    },
    [](void* dst, const void* src) { *static_cast<T*>(dst) = *static_cast<const T*>(src); },
    [](const void* a, const void* b) -> bool {
      return *static_cast<const T*>(a) == *static_cast<const T*>(b);
    },
    [](void* array, std::size_t n) { return static_cast<ua_array<T>*>(array)->try_resize(n); },
    [](const void* array) -> void* {
      return const_cast<T*>(static_cast<const ua_array<T>*>(array)->data());
    },
    [](const void* array) { return static_cast<const ua_array<T>*>(array)->size(); },
};

// The operations of the C++ value of each built-in type code; null for Null and for codes
// above UA_VT_MAX.
const ua_value_ops* ua_builtin_ops(uint8_t code) noexcept;
// Size and alignment of the C++ value of each built-in type code (0 for Null and for codes
// above UA_VT_MAX).
std::size_t ua_builtin_size(uint8_t code) noexcept;
std::size_t ua_builtin_align(uint8_t code) noexcept;

// Built-in types whose C++ value is plain bytes in the machine's order, every pattern a
// distinct value: the integers, DateTime, StatusCode and Guid. Two such values are equal
// exactly when their bytes are, and on a little-endian machine the bytes are the encoding.
constexpr bool ua_builtin_is_plain(uint8_t code) noexcept {
  switch (code) {
    case UA_VT_SBYTE:
    case UA_VT_BYTE:
    case UA_VT_INT16:
    case UA_VT_UINT16:
    case UA_VT_INT32:
    case UA_VT_UINT32:
    case UA_VT_INT64:
    case UA_VT_UINT64:
    case UA_VT_DATETIME:
    case UA_VT_STATUSCODE:
    case UA_VT_GUID:
      return true;
    default:
      return false;
  }
}

// Variant: empty, a scalar, a one-dimensional array or an array with dimensions (matrix) of
// one built-in type. The type byte carries the built-in code and the flags UA_VT_ARRAY and
// UA_VT_MATRIX. Numbers, DateTime and StatusCode scalars are held inside the variant, every
// other scalar and every array in an owned block.
class ua_variant {
 public:
  ua_variant() noexcept = default;
  ua_variant(const ua_variant& other);
  ua_variant(ua_variant&& other) noexcept;
  ua_variant& operator=(const ua_variant& other);
  ua_variant& operator=(ua_variant&& other) noexcept;
  ~ua_variant() { clear(); }

  template <class T>
  static ua_variant scalar_of(T value) {
    ua_variant v;
    v.set_scalar(std::move(value));
    return v;
  }

  // The type byte with its flags.
  uint8_t type_byte() const noexcept { return type_; }
  // The built-in type code.
  uint8_t type() const noexcept { return type_ & UA_VT_TYPEMASK; }
  bool is_empty() const noexcept { return type_ == UA_VT_NULL; }
  bool is_scalar() const noexcept { return type_ != UA_VT_NULL && (type_ & UA_VT_ARRAY) == 0; }
  bool is_array() const noexcept { return (type_ & UA_VT_ARRAY) != 0; }
  bool is_matrix() const noexcept { return (type_ & UA_VT_MATRIX) != 0; }
  // The number of array elements (0 for scalars).
  int32_t length() const noexcept { return length_; }

  // Back to empty.
  void clear() noexcept;

  // Scalars. set_scalar takes the code from the type; pass UA_VT_XMLELEMENT with a
  // ua_bytestring for an XmlElement.
  template <class T>
  void set_scalar(T value, uint8_t code = ua_type_code_v<std::remove_cvref_t<T>>) {
    using V = std::remove_cvref_t<T>;
    static_assert(ua_type_code_v<V> != UA_VT_NULL, "not a built-in value type");
    if (!ua_holds_as<V>(code)) {
      clear();
      return;
    }
    *static_cast<V*>(emplace_scalar(code)) = std::move(value);
  }
  // The scalar if it is held as T, else null.
  template <class T>
  T* scalar() noexcept {
    return is_scalar() && ua_holds_as<T>(type()) ? static_cast<T*>(scalar_data()) : nullptr;
  }
  template <class T>
  const T* scalar() const noexcept {
    return is_scalar() && ua_holds_as<T>(type()) ? static_cast<const T*>(scalar_data()) : nullptr;
  }

  // Arrays. set_array makes an array of n value-initialised elements and returns them.
  template <class T>
  std::span<T> set_array(std::size_t n, uint8_t code = ua_type_code_v<T>) {
    if (!ua_holds_as<T>(code)) {
      clear();
      return {};
    }
    return {static_cast<T*>(emplace_array(code, n)), n};
  }
  template <class T>
  std::span<T> array() noexcept {
    if (!is_array() || !ua_holds_as<T>(type())) return {};
    return {static_cast<T*>(array_data()), static_cast<std::size_t>(length_)};
  }
  template <class T>
  std::span<const T> array() const noexcept {
    if (!is_array() || !ua_holds_as<T>(type())) return {};
    return {static_cast<const T*>(array_data()), static_cast<std::size_t>(length_)};
  }

  // Matrix dimensions; setting them on an array sets UA_VT_MATRIX, an empty list removes it.
  std::span<const int32_t> dimensions() const noexcept { return dims_.span(); }
  void set_dimensions(std::span<const int32_t> dims);

  // Untyped access for the codecs. emplace_scalar clears the variant, makes it a
  // value-initialised scalar of `code` and returns its address; emplace_array does the same for
  // an array of n elements. try_emplace_array returns null (variant empty) when memory is
  // exhausted. Both refuse codes without a value type (Null, codes above UA_VT_MAX) by
  // returning null.
  void* emplace_scalar(uint8_t code);
  void* emplace_array(uint8_t code, std::size_t n);
  void* try_emplace_array(uint8_t code, std::size_t n) noexcept;
  void* scalar_data() noexcept;
  const void* scalar_data() const noexcept;
  void* array_data() noexcept { return heap_; }
  const void* array_data() const noexcept { return heap_; }

  friend bool operator==(const ua_variant& a, const ua_variant& b);

 private:
  static bool held_inside(uint8_t code) noexcept;

  uint8_t type_ = UA_VT_NULL;
  int32_t length_ = 0;
  union {
    void* heap_ = nullptr;                // owned scalar or array block
    alignas(8) unsigned char inside_[8];  // numbers, DateTime, StatusCode
  };
  ua_array<int32_t> dims_;
};

struct ua_dict_structure;

// Body kinds of an extension object.
enum class ua_extensionobject_body : uint8_t {
  none = 0,     // no body
  decoded = 1,  // a decoded structure of a known type
  binary = 2,   // an encoded binary body held as ByteString
  xml = 3,      // an XML body held as ByteString
  json = 4,     // a JSON body held as ByteString
};

// ExtensionObject: a data type id, its encoding id and a body.
class ua_extensionobject {
 public:
  ua_extensionobject() noexcept = default;
  ua_extensionobject(const ua_extensionobject& other);
  ua_extensionobject(ua_extensionobject&& other) noexcept;
  ua_extensionobject& operator=(const ua_extensionobject& other);
  ua_extensionobject& operator=(ua_extensionobject&& other) noexcept;
  ~ua_extensionobject() { clear(); }

  // The data type, null when unknown.
  ua_nodeid& type_id() noexcept { return type_id_; }
  const ua_nodeid& type_id() const noexcept { return type_id_; }
  // The encoding (the binary encoding for decoded bodies), null when unknown.
  ua_nodeid& encoding_id() noexcept { return encoding_id_; }
  const ua_nodeid& encoding_id() const noexcept { return encoding_id_; }

  ua_extensionobject_body body_kind() const noexcept { return kind_; }
  // The encoded body (binary, xml or json kind), else null.
  const ua_bytestring* encoded() const noexcept;
  // The decoded structure and its descriptor (decoded kind), else null.
  const ua_dict_structure* structure() const noexcept {
    return kind_ == ua_extensionobject_body::decoded ? desc_ : nullptr;
  }
  // The type value of the decoded structure (type index in the low 16 bits, type table in the
  // high 16 bits).
  uint32_t type_index() const noexcept { return type_index_; }
  void* object() noexcept { return kind_ == ua_extensionobject_body::decoded ? obj_ : nullptr; }
  const void* object() const noexcept {
    return kind_ == ua_extensionobject_body::decoded ? obj_ : nullptr;
  }
  // The decoded structure as T when its descriptor is `desc`, else null.
  template <class T>
  T* object_as(const ua_dict_structure& desc) noexcept {
    return structure() == &desc ? static_cast<T*>(obj_) : nullptr;
  }
  template <class T>
  const T* object_as(const ua_dict_structure& desc) const noexcept {
    return structure() == &desc ? static_cast<const T*>(obj_) : nullptr;
  }

  // Drops the body (and keeps the ids).
  void clear_body() noexcept;
  // Drops the body and clears both ids.
  void clear() noexcept;
  // Sets an encoded body of kind binary, xml or json.
  void set_encoded(ua_extensionobject_body kind, ua_bytestring body);
  // Makes the body a value-initialised structure described by `desc` (created through the
  // descriptor's operations) and returns it; the type id is left to the caller.
  void* emplace_decoded(const ua_dict_structure& desc, uint32_t type_index);
  template <class T>
  T& emplace_decoded_as(const ua_dict_structure& desc, uint32_t type_index) {
    return *static_cast<T*>(emplace_decoded(desc, type_index));
  }

  friend bool operator==(const ua_extensionobject& a, const ua_extensionobject& b);

 private:
  ua_nodeid type_id_;
  ua_nodeid encoding_id_;
  ua_extensionobject_body kind_ = ua_extensionobject_body::none;
  uint32_t type_index_ = 0;
  const ua_dict_structure* desc_ = nullptr;
  union {
    void* obj_ = nullptr;  // decoded kind
    ua_bytestring* body_;  // encoded kinds
  };
};

// DataValue encoding-mask bits, which also tell which members are present.
inline constexpr uint8_t UA_DATAVALUE_VALUE = 0x01;
inline constexpr uint8_t UA_DATAVALUE_STATUS = 0x02;
inline constexpr uint8_t UA_DATAVALUE_SOURCE_TIMESTAMP = 0x04;
inline constexpr uint8_t UA_DATAVALUE_SERVER_TIMESTAMP = 0x08;
inline constexpr uint8_t UA_DATAVALUE_SOURCE_PICOSECONDS = 0x10;
inline constexpr uint8_t UA_DATAVALUE_SERVER_PICOSECONDS = 0x20;

struct ua_datavalue {
  uint8_t mask = 0;  // UA_DATAVALUE_... bits of the members that are present
  ua_variant value;
  ua_statuscode status;
  ua_datetime source_timestamp;
  ua_datetime server_timestamp;
  uint16_t source_picoseconds = 0;
  uint16_t server_picoseconds = 0;
  friend bool operator==(const ua_datavalue&, const ua_datavalue&) = default;
};

// DiagnosticInfo encoding-mask bits, which also tell which members are present.
inline constexpr uint8_t UA_DIAGNOSTICINFO_SYMBOLIC_ID = 0x01;
inline constexpr uint8_t UA_DIAGNOSTICINFO_NAMESPACE_URI = 0x02;
inline constexpr uint8_t UA_DIAGNOSTICINFO_LOCALIZED_TEXT = 0x04;
inline constexpr uint8_t UA_DIAGNOSTICINFO_LOCALE = 0x08;
inline constexpr uint8_t UA_DIAGNOSTICINFO_ADDITIONAL_INFO = 0x10;
inline constexpr uint8_t UA_DIAGNOSTICINFO_INNER_STATUS_CODE = 0x20;
inline constexpr uint8_t UA_DIAGNOSTICINFO_INNER_DIAGNOSTIC_INFO = 0x40;

struct ua_diagnosticinfo {
  uint8_t mask = 0;  // UA_DIAGNOSTICINFO_... bits of the members that are present
  int32_t symbolic_id = 0;
  int32_t namespace_uri = 0;
  int32_t localized_text = 0;
  int32_t locale = 0;
  ua_string additional_info;
  ua_statuscode inner_status_code;
  ua_box<ua_diagnosticinfo> inner_diagnostic_info;
  friend bool operator==(const ua_diagnosticinfo&, const ua_diagnosticinfo&) = default;
};

}  // namespace vos

template <>
struct std::hash<vos::ua_nodeid> {
  std::size_t operator()(const vos::ua_nodeid& id) const noexcept { return id.hash(); }
};
