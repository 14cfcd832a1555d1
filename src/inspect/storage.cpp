// The keyed storage file: writing records and the directory, reading the
// directory back and reading records by key, with every size and position
// taken from the file checked against the file before it is used.
#include "inspect/storage.hpp"

#include <climits>
#include <cstring>
#include <type_traits>

#include "frame/regular_file.hpp"

namespace kel::inspect {

namespace {

// Little-endian encoding, independent of the machine's byte order.
void put_u32(std::uint8_t *p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i)
    p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}

std::uint32_t get_u32(const std::uint8_t *p) {
  return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
         std::uint32_t{p[3]} << 24;
}

// Floating-point values travel as the little-endian bytes of their bit
// pattern.
template <class T>
void encode(std::uint8_t *p, T v) {
  using Bits = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t>;
  Bits bits;
  std::memcpy(&bits, &v, sizeof(T));
  for (std::size_t i = 0; i < sizeof(T); ++i)
    p[i] = static_cast<std::uint8_t>(bits >> (8 * i));
}

template <class T>
T decode(const std::uint8_t *p) {
  using Bits = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t>;
  Bits bits = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i)
    bits |= static_cast<Bits>(p[i]) << (8 * i);
  T v;
  std::memcpy(&v, &bits, sizeof(T));
  return v;
}

const char *key_or_empty(const char *key) {
  return key ? key : "";
}

}  // namespace

CKelStorage::~CKelStorage() {
  CloseAndClear();
}

void CKelStorage::CloseAndClear() {
  if (m_file) std::fclose(m_file);
  m_file = nullptr;
  m_index.clear();
  m_count = 0;
  m_size = -1;
}

std::int64_t CKelStorage::Remaining() const {
  if (!m_file || m_size < 0) return 0;
  long at = std::ftell(m_file);
  return at < 0 || at > m_size ? 0 : m_size - at;
}

bool CKelStorage::ReadExact(void *buffer, std::size_t size) {
  if (!m_file) return false;
  if (size == 0) return true;
  if (m_size >= 0 && static_cast<std::uint64_t>(Remaining()) < size) return false;
  return std::fread(buffer, 1, size, m_file) == size;
}

bool CKelStorage::WriteExact(const void *bytes, std::size_t size) {
  if (!m_file) return false;
  if (size == 0) return true;
  return std::fwrite(bytes, 1, size, m_file) == size;
}

// ---- opening and closing ---------------------------------------------

int CKelStorage::OpenForRead(const char *path) {
  CloseAndClear();
  m_file = kel::regular_file(path) ? std::fopen(path, "rb") : nullptr;
  if (!m_file) return kStorageCannotOpen;
  long end = -1;
  if (std::fseek(m_file, 0, SEEK_END) == 0) end = std::ftell(m_file);
  if (end < 0 || std::fseek(m_file, 0, SEEK_SET) != 0) {
    CloseAndClear();
    return kStorageCannotOpen;
  }
  m_size = end;

  auto fail = [this](int status) {
    CloseAndClear();
    return status;
  };
  std::uint8_t head[4];
  if (!ReadExact(head, 4)) return fail(kStorageShortRead);
  if (get_u32(head) != kStorageMagic) return fail(kStorageBadMagic);
  if (!ReadExact(head, 4)) return fail(kStorageShortRead);
  m_version = get_u32(head);
  if (!ReadExact(head, 4)) return fail(kStorageShortRead);
  m_directory = static_cast<std::int32_t>(get_u32(head));

  if (m_directory < 0 || m_directory > m_size || std::fseek(m_file, m_directory, SEEK_SET) != 0)
    return fail(kStorageSeekFailed);
  if (!ReadExact(head, 4)) return fail(kStorageShortRead);
  const std::uint32_t count = get_u32(head);
  // Every entry takes at least 8 bytes (length and position).
  if (count > static_cast<std::uint64_t>(Remaining()) / 8) return fail(kStorageShortRead);
  std::string key;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (!ReadExact(head, 4)) return fail(kStorageShortRead);
    const std::uint32_t length = get_u32(head);
    if (length > static_cast<std::uint64_t>(Remaining())) return fail(kStorageShortRead);
    key.resize(length);
    if (!ReadExact(key.data(), length)) return fail(kStorageShortRead);
    if (!ReadExact(head, 4)) return fail(kStorageShortRead);
    auto [it, fresh] = m_index.emplace(key, static_cast<std::int32_t>(get_u32(head)));
    if (!fresh) return fail(kStorageDuplicateKey);
  }
  m_count = static_cast<std::int32_t>(count);
  return kStorageOk;
}

int CKelStorage::CloseRead() {
  CloseAndClear();
  return kStorageOk;
}

int CKelStorage::OpenForWrite(const char *path) {
  CloseAndClear();
  m_file = path ? std::fopen(path, "wb") : nullptr;
  if (!m_file) return kStorageCannotCreate;
  std::uint8_t head[12];
  put_u32(head, kStorageMagic);
  put_u32(head + 4, kStorageVersion);
  put_u32(head + 8, 0);
  if (!WriteExact(head, sizeof head)) return kStorageShortWrite;
  m_version = kStorageVersion;
  m_directory = 0;
  return kStorageOk;
}

int CKelStorage::CloseWrite() {
  if (!m_file) return kStorageShortWrite;
  // Flush first, so that a full disk shows as a write failure, not a seek one.
  if (std::fflush(m_file) != 0) return kStorageShortWrite;
  if (std::fseek(m_file, 0, SEEK_END) != 0) return kStorageSeekFailed;
  const long at = std::ftell(m_file);
  if (at < 0 || at > INT32_MAX) return kStorageShortWrite;
  std::uint8_t word[4];
  put_u32(word, static_cast<std::uint32_t>(m_index.size()));
  if (!WriteExact(word, 4)) return kStorageShortWrite;
  for (const auto &[key, position] : m_index) {
    put_u32(word, static_cast<std::uint32_t>(key.size()));
    if (!WriteExact(word, 4) || !WriteExact(key.data(), key.size())) return kStorageShortWrite;
    put_u32(word, static_cast<std::uint32_t>(position));
    if (!WriteExact(word, 4)) return kStorageShortWrite;
  }
  if (std::fflush(m_file) != 0) return kStorageShortWrite;
  if (std::fseek(m_file, 8, SEEK_SET) != 0) return kStorageSeekFailed;
  put_u32(word, static_cast<std::uint32_t>(at));
  if (!WriteExact(word, 4) || std::fflush(m_file) != 0) return kStorageShortWrite;
  m_directory = static_cast<std::int32_t>(at);
  m_count = static_cast<std::int32_t>(m_index.size());
  const bool closed = std::fclose(m_file) == 0;
  m_file = nullptr;
  CloseAndClear();
  return closed ? kStorageOk : kStorageShortWrite;
}

// ---- writing ------------------------------------------------------------

int CKelStorage::EnterKey(const char *key) {
  if (!m_file) return kStorageShortWrite;
  const long at = std::ftell(m_file);
  if (at < 0 || at > INT32_MAX) return kStorageShortWrite;
  if (!m_index.emplace(key_or_empty(key), static_cast<std::int32_t>(at)).second)
    return kStorageDuplicateKey;
  return kStorageOk;
}

int CKelStorage::WriteRecord(const char *key, const void *head, std::size_t head_size,
                             const void *body, std::size_t body_size) {
  if (m_index.count(key_or_empty(key))) return kStorageDuplicateKey;
  if (int e = EnterKey(key)) return e;
  if (!WriteExact(head, head_size) || !WriteExact(body, body_size)) {
    m_index.erase(key_or_empty(key));
    return kStorageShortWrite;
  }
  return kStorageOk;
}

int CKelStorage::WriteBlob(const char *key, const void *bytes, std::uint32_t size) {
  std::uint8_t head[4];
  put_u32(head, size);
  return WriteRecord(key, head, 4, bytes, bytes ? size : 0);
}

int CKelStorage::WriteString(const char *key, const std::string &value) {
  if (value.size() > UINT32_MAX) return kStorageShortWrite;
  std::uint8_t head[4];
  put_u32(head, static_cast<std::uint32_t>(value.size()));
  return WriteRecord(key, head, 4, value.data(), value.size());
}

int CKelStorage::WriteText(const char *key, const char *text) {
  const char *t = text ? text : "";
  const std::size_t n = std::strlen(t) + 1;
  if (n > UINT32_MAX) return kStorageShortWrite;
  std::uint8_t head[4];
  put_u32(head, static_cast<std::uint32_t>(n));
  return WriteRecord(key, head, 4, t, n);
}

int CKelStorage::WriteByte(const char *key, std::uint8_t value) {
  return WriteRecord(key, &value, 1, nullptr, 0);
}

int CKelStorage::WriteDouble(const char *key, double value) {
  std::uint8_t b[8];
  encode(b, value);
  return WriteRecord(key, b, 8, nullptr, 0);
}

int CKelStorage::WriteFloat(const char *key, float value) {
  std::uint8_t b[4];
  encode(b, value);
  return WriteRecord(key, b, 4, nullptr, 0);
}

int CKelStorage::WriteUInt(const char *key, std::uint32_t value) {
  std::uint8_t b[4];
  put_u32(b, value);
  return WriteRecord(key, b, 4, nullptr, 0);
}

int CKelStorage::WriteInt(const char *key, std::int32_t value) {
  return WriteUInt(key, static_cast<std::uint32_t>(value));
}

int CKelStorage::MarkKey(const char *key) {
  return EnterKey(key);
}

int CKelStorage::WriteRaw(const void *bytes, std::uint32_t size) {
  if (!m_file) return kStorageShortWrite;
  return WriteExact(bytes, bytes ? size : 0) ? kStorageOk : kStorageShortWrite;
}

// ---- reading ------------------------------------------------------------

int CKelStorage::Locate(const char *key) {
  auto it = m_index.find(key_or_empty(key));
  if (it == m_index.end() || !m_file) return kStorageKeyNotFound;
  const std::int32_t at = it->second;
  if (at < 0 || (m_size >= 0 && at > m_size) || std::fseek(m_file, at, SEEK_SET) != 0)
    return kStorageSeekFailed;
  return kStorageOk;
}

template <class T>
int CKelStorage::ReadScalar(const char *key, T *value, T def) {
  if (int e = Locate(key)) {
    if (value) *value = def;
    return e;
  }
  std::uint8_t b[sizeof(T)];
  if (!ReadExact(b, sizeof(T))) return kStorageShortRead;
  if (value) {
    if constexpr (sizeof(T) == 1)
      *value = b[0];
    else if constexpr (std::is_integral_v<T>)
      *value = static_cast<T>(get_u32(b));
    else
      *value = decode<T>(b);
  }
  return kStorageOk;
}

int CKelStorage::ReadBlob(const char *key, void *buffer, std::uint32_t *size) {
  if (int e = Locate(key)) {
    if (size) *size = 0;
    return e;
  }
  std::uint8_t head[4];
  if (!ReadExact(head, 4)) return kStorageShortRead;
  const std::uint32_t n = get_u32(head);
  if (size) *size = n;
  if (!buffer) return n <= static_cast<std::uint64_t>(Remaining()) ? kStorageOk : kStorageShortRead;
  return ReadExact(buffer, n) ? kStorageOk : kStorageShortRead;
}

int CKelStorage::ReadString(const char *key, std::string *value, const char *def) {
  if (int e = Locate(key)) {
    if (value) *value = def ? def : "";
    return e;
  }
  std::uint8_t head[4];
  if (!ReadExact(head, 4)) return kStorageShortRead;
  const std::uint32_t n = get_u32(head);
  if (n > static_cast<std::uint64_t>(Remaining())) return kStorageShortRead;
  std::string s(n, '\0');
  if (!ReadExact(s.data(), n)) return kStorageShortRead;
  if (value) *value = std::move(s);
  return kStorageOk;
}

int CKelStorage::ReadText(const char *key, char *buffer, std::uint32_t length, const char *def) {
  if (int e = Locate(key)) {
    if (buffer && length) std::strncpy(buffer, def ? def : "", length);
    return e;
  }
  std::uint8_t head[4];
  if (!ReadExact(head, 4)) return kStorageShortRead;
  std::uint32_t n = get_u32(head);
  if (n > length) n = length;
  if (!buffer) n = 0;
  return ReadExact(buffer, n) ? kStorageOk : kStorageShortRead;
}

int CKelStorage::ReadByte(const char *key, std::uint8_t *value, std::uint8_t def) {
  return ReadScalar(key, value, def);
}

int CKelStorage::ReadDouble(const char *key, double *value, double def) {
  return ReadScalar(key, value, def);
}

int CKelStorage::ReadFloat(const char *key, float *value, float def) {
  return ReadScalar(key, value, def);
}

int CKelStorage::ReadUInt(const char *key, std::uint32_t *value, std::uint32_t def) {
  return ReadScalar(key, value, def);
}

int CKelStorage::ReadInt(const char *key, std::int32_t *value, std::int32_t def) {
  return ReadScalar(key, value, def);
}

int CKelStorage::ReadIntDiscard(const char *key, std::int32_t value) {
  // The value read lands in this call's own copy and is dropped; the status
  // reports a read failure whatever happened.
  if (int e = ReadScalar(key, &value, value)) return e;
  (void)value;
  return kStorageShortRead;
}

int CKelStorage::SeekKey(const char *key) {
  return Locate(key);
}

int CKelStorage::ReadRaw(void *buffer, std::uint32_t size) {
  if (!buffer && size) return kStorageShortRead;
  return ReadExact(buffer, size) ? kStorageOk : kStorageShortRead;
}

}  // namespace kel::inspect
