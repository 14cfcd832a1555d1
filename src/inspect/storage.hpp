// CKelStorage: a small keyed binary file. Values of a few fixed types are
// written one after another, each under a unique text key; closing the file
// appends a directory of keys and value positions and patches its position
// into the header. Reading loads the directory into an ordered map and seeks
// to a key's value on demand.
//
// File layout (all integers 32-bit little-endian):
//   0   magic 0xD002EDDE (bytes DE ED 02 D0)
//   4   format version, written as 1
//   8   directory position (0 until the file is closed)
//   12  value records, in the order written
//   directory: key count N, then N times key length L, the L key bytes (no
//   terminator) and the file offset of the key's value record, in ascending
//   byte-wise key order.
//
// Value records: int32, uint32 and float 4 bytes; double 8 bytes; byte 1
// byte; text a uint32 length counting the terminating zero, then the bytes
// and the zero; string a uint32 length, then the characters; blob a uint32
// size, then the bytes. A key mark records the current position only: raw
// bytes written after it are read back with SeekKey and ReadRaw.
//
// Every operation returns one of the status codes below. Reading never
// trusts the file: a count, length or position that the file cannot hold is
// refused before anything is allocated or read.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

namespace kel::inspect {

enum StorageStatus {
  kStorageOk = 0,
  kStorageCannotOpen = 2,    // the file cannot be opened for reading
  kStorageCannotCreate = 3,  // the file cannot be created for writing
  kStorageShortRead = 4,     // fewer bytes than needed (also: a size the file cannot hold)
  kStorageShortWrite = 5,    // a write failed (also: no file open for writing)
  kStorageBadMagic = 6,      // not a storage file
  kStorageSeekFailed = 7,    // a position outside the file
  kStorageDuplicateKey = 9,  // the key is already in the file
  kStorageKeyNotFound = 10   // the key is not in the file; the default has been stored
};

inline constexpr std::uint32_t kStorageMagic = 0xD002EDDE;
inline constexpr std::uint32_t kStorageVersion = 1;

// Keys are zero-terminated byte strings (a null key is the empty key) and are
// compared byte by byte as unsigned values. The operations are virtual and
// declared in their fixed slot order; the destructor comes after them. The
// destructor closes an open file without writing a directory: only
// CloseWrite completes a file.
class CKelStorage {
 public:
  CKelStorage() = default;
  CKelStorage(const CKelStorage &) = delete;
  CKelStorage &operator=(const CKelStorage &) = delete;

  // 1. Closes any open file, empties the index, opens `path` for reading,
  // checks the header and reads the directory. 2 cannot open, 4 short read
  // (or a count or key length larger than the file), 6 bad magic, 7 the
  // directory position lies outside the file, 9 a key twice. On a failure
  // the file is closed and the index empty.
  virtual int OpenForRead(const char *path);
  // 2. Closes the file (no directory is written) and empties the index.
  virtual int CloseRead();
  // 3. Closes any open file, empties the index, creates `path` and writes
  // the 12-byte header (magic, 1, 0). 3 cannot create, 5 short write.
  virtual int OpenForWrite(const char *path);
  // 4. Writes the directory at the current end, patches its position into
  // offset 8, closes and empties the index. 5 write failed, 7 seek failed; on
  // a failure the file stays open.
  virtual int CloseWrite();

  // 5-13. Keyed records. 9 when the key is already present (nothing is
  // written and the first value stays in force), 5 when the write fails.
  virtual int WriteBlob(const char *key, const void *bytes, std::uint32_t size);
  virtual int WriteString(const char *key, const std::string &value);
  virtual int WriteText(const char *key, const char *text);
  virtual int WriteByte(const char *key, std::uint8_t value);
  virtual int WriteDouble(const char *key, double value);
  virtual int WriteFloat(const char *key, float value);
  virtual int WriteUInt(const char *key, std::uint32_t value);
  virtual int WriteInt(const char *key, std::int32_t value);
  // Records the key at the current position and writes nothing.
  virtual int MarkKey(const char *key);
  // 14. Writes the bytes with no key.
  virtual int WriteRaw(const void *bytes, std::uint32_t size);

  // 15. Reads the stored size (into *size when `size` is given) and that
  // many bytes into `buffer`, which must hold them; a null buffer only
  // reports the size. A size larger than the rest of the file: 4.
  virtual int ReadBlob(const char *key, void *buffer, std::uint32_t *size);
  // 16-22. Keyed reads. A missing key stores the default and returns 10; a
  // position outside the file stores the default and returns 7; a short read
  // returns 4. A null output pointer is allowed and receives nothing.
  virtual int ReadString(const char *key, std::string *value, const char *def);
  // Reads the stored length lowered to `length` bytes into `buffer`: a text
  // longer than the buffer is cut, without a terminator being added. A
  // missing key copies the default as strncpy does with `length`.
  virtual int ReadText(const char *key, char *buffer, std::uint32_t length, const char *def);
  virtual int ReadByte(const char *key, std::uint8_t *value, std::uint8_t def);
  virtual int ReadDouble(const char *key, double *value, double def);
  virtual int ReadFloat(const char *key, float *value, float def);
  virtual int ReadUInt(const char *key, std::uint32_t *value, std::uint32_t def);
  virtual int ReadInt(const char *key, std::int32_t *value, std::int32_t def);
  // 23. Seeks to the key and reads 4 bytes into its own copy of `value`, then
  // returns 4 even when the read succeeded: the caller receives nothing. Kept
  // so on purpose. A missing key gives 10, a bad position 7.
  virtual int ReadIntDiscard(const char *key, std::int32_t value);
  // 24. Positions the file at the key's value for raw reads: 10 missing, 7
  // outside the file.
  virtual int SeekKey(const char *key);
  // 25. Reads `size` bytes at the current position: 4 when fewer remain.
  virtual int ReadRaw(void *buffer, std::uint32_t size);

  virtual ~CKelStorage();

  // Not part of the slot table: the keys of the index in directory order,
  // and the number of bytes between the current position and the end of a
  // file opened for reading (0 otherwise).
  const std::map<std::string, std::int32_t> &Index() const { return m_index; }
  std::int64_t Remaining() const;

 private:
  void CloseAndClear();
  int EnterKey(const char *key);
  int WriteRecord(const char *key, const void *head, std::size_t head_size, const void *body,
                  std::size_t body_size);
  // Finds the key and seeks to its value: 0, 10 or 7.
  int Locate(const char *key);
  bool ReadExact(void *buffer, std::size_t size);
  bool WriteExact(const void *bytes, std::size_t size);
  template <class T>
  int ReadScalar(const char *key, T *value, T def);

  std::FILE *m_file = nullptr;
  std::map<std::string, std::int32_t> m_index;  // std::string orders bytes as unsigned values
  std::int32_t m_count = 0;
  std::int32_t m_directory = 0;
  std::uint32_t m_version = 0;
  std::int64_t m_size = -1;  // size of a file opened for reading; -1 when writing or closed
};

}  // namespace kel::inspect
