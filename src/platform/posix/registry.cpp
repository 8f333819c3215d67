#include "platform/registry.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "platform/posix/native_path.h"
#include "platform/posix/registry_store.h"

// An open key.
struct HKEY__ {
  std::shared_ptr<tessaron::RegistryStore> store;
  std::int64_t number;
  std::uint32_t access;
};

namespace {

using tessaron::RegistryStore;
using Query = RegistryStore::Query;

constexpr std::size_t kMaxKeyName = 255, kMaxValueName = 16383;

std::u16string_view view(const char16_t* name) { return name ? name : std::u16string_view(); }

std::string_view bytesOf(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

std::u16string folded(std::u16string_view name) {
  std::u16string text(name);
  for (char16_t& unit : text) unit = static_cast<char16_t>(u_toupper(unit));
  return text;
}

// ERROR_ACCESS_DENIED unless the key was opened with `access`.
std::int32_t permit(HKEY key, std::uint32_t access) {
  if (!key || key == HKEY_CURRENT_USER) return ERROR_INVALID_HANDLE;
  return (key->access & access) == access ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

// Finds the key `name` below `parent`; creates a missing one if `create`.
std::int32_t findKey(RegistryStore& store, std::int64_t parent, std::u16string_view name,
                     bool create, std::int64_t& number) {
  const std::u16string same = folded(name);
  const auto find = [&] {
    Query query(store, RegistryStore::FindKey);
    const bool found = query.bind(parent).bind(bytesOf(same)).next();
    if (found) number = query.integer(0);
    return found || query.code() != ERROR_SUCCESS ? query.code() : ERROR_FILE_NOT_FOUND;
  };
  const std::int32_t code = find();
  if (code != ERROR_FILE_NOT_FOUND || !create) return code;
  const std::int32_t added = Query(store, RegistryStore::AddKey)
                                 .bind(parent)
                                 .bind(bytesOf(same))
                                 .bind(bytesOf(name))
                                 .run();
  return added == ERROR_SUCCESS ? find() : added;
}

// Resolves `path` below `parent`; creates missing keys if `create`.
std::int32_t walk(RegistryStore& store, std::int64_t parent, std::u16string_view path, bool create,
                  std::int64_t& number) {
  number = parent;
  while (!path.empty()) {
    const std::u16string_view name = path.substr(0, path.find(u'\\'));
    path.remove_prefix(std::min(name.size() + 1, path.size()));
    if (name.empty()) continue;
    if (name.size() > kMaxKeyName) return ERROR_INVALID_PARAMETER;
    const std::int32_t code = findKey(store, number, name, create, number);
    if (code != ERROR_SUCCESS) return code;
  }
  return ERROR_SUCCESS;
}

std::int32_t openKey(HKEY parent, const char16_t* path, std::uint32_t access, bool create,
                     HKEY& opened) {
  if (!parent) return ERROR_INVALID_HANDLE;
  std::int32_t code = ERROR_SUCCESS;
  HKEY__ key{nullptr, RegistryStore::kRoot, access};
  if (parent == HKEY_CURRENT_USER) {
    key.store = RegistryStore::open(create, code);
  } else {
    key.store = parent->store;
    key.number = parent->number;
  }
  if (key.store) code = walk(*key.store, key.number, view(path), create, key.number);
  if (code == ERROR_SUCCESS) opened = new HKEY__(std::move(key));
  return code;
}

}  // namespace

std::int32_t CRegKey::Open(HKEY parent, const char16_t* name, std::uint32_t access) {
  HKEY opened = nullptr;
  const tessaron::RegistryDeadline deadline;
  const std::int32_t code = openKey(parent, name, access, false, opened);
  if (code != ERROR_SUCCESS) return code;
  Close();
  m_hKey = opened;
  return code;
}

std::int32_t CRegKey::Create(HKEY parent, const char16_t* name, std::uint32_t access) {
  HKEY opened = nullptr;
  const tessaron::RegistryDeadline deadline;
  const std::int32_t code = openKey(parent, name, access, true, opened);
  if (code != ERROR_SUCCESS) return code;
  Close();
  m_hKey = opened;
  return code;
}

std::int32_t CRegKey::Close() {
  if (m_hKey && m_hKey != HKEY_CURRENT_USER) delete m_hKey;
  m_hKey = nullptr;
  return ERROR_SUCCESS;
}

std::int32_t CRegKey::DeleteSubKey(const char16_t* name) {
  const tessaron::RegistryDeadline deadline;
  if (const std::int32_t code = permit(m_hKey, 0)) return code;
  RegistryStore& store = *m_hKey->store;
  std::int64_t number = 0;
  if (const std::int32_t code = walk(store, m_hKey->number, view(name), false, number)) return code;
  {
    Query children(store, RegistryStore::HasSubKey);
    if (children.bind(number).next() || number == m_hKey->number) return ERROR_ACCESS_DENIED;
  }
  tessaron::RegistryBatch batch(*this);
  if (batch.code() != ERROR_SUCCESS) return batch.code();
  if (const std::int32_t code = Query(store, RegistryStore::DeleteKeyValues).bind(number).run()) {
    return code;
  }
  if (const std::int32_t code = Query(store, RegistryStore::DeleteKey).bind(number).run()) {
    return code;
  }
  return batch.end();
}

std::int32_t CRegKey::QueryValue(const char16_t* name, std::uint32_t* type, void* data,
                                 std::uint32_t* bytes) const {
  if (const std::int32_t code = permit(m_hKey, KEY_QUERY_VALUE)) return code;
  if (data && !bytes) return ERROR_INVALID_PARAMETER;
  const std::u16string same = folded(view(name));
  Query query(*m_hKey->store, RegistryStore::GetValue);
  if (!query.bind(m_hKey->number).bind(bytesOf(same)).next()) {
    return query.code() == ERROR_SUCCESS ? ERROR_FILE_NOT_FOUND : query.code();
  }
  const std::string_view value = query.blob(1);
  const bool fits = !data || value.size() <= *bytes;
  if (type) *type = static_cast<std::uint32_t>(query.integer(0));
  if (bytes) *bytes = static_cast<std::uint32_t>(value.size());
  if (data && fits && !value.empty()) std::memcpy(data, value.data(), value.size());
  return fits ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

std::int32_t CRegKey::SetValue(const char16_t* name, std::uint32_t type, const void* data,
                               std::uint32_t bytes) {
  if (const std::int32_t code = permit(m_hKey, KEY_SET_VALUE)) return code;
  if (view(name).size() > kMaxValueName) return ERROR_INVALID_PARAMETER;
  const std::u16string same = folded(view(name));
  return Query(*m_hKey->store, RegistryStore::PutValue)
      .bind(m_hKey->number)
      .bind(bytesOf(same))
      .bind(bytesOf(view(name)))
      .bind(std::int64_t{type})
      .bind(std::string_view(static_cast<const char*>(data), bytes))
      .run();
}

std::int32_t CRegKey::DeleteValue(const char16_t* name) {
  if (const std::int32_t code = permit(m_hKey, KEY_SET_VALUE)) return code;
  const std::u16string same = folded(view(name));
  bool deleted = false;
  const std::int32_t code = Query(*m_hKey->store, RegistryStore::DeleteValue)
                                .bind(m_hKey->number)
                                .bind(bytesOf(same))
                                .run(&deleted);
  return code != ERROR_SUCCESS || deleted ? code : ERROR_FILE_NOT_FOUND;
}

std::int32_t CRegKey::CountValues(std::uint32_t& count) const {
  if (const std::int32_t code = permit(m_hKey, KEY_QUERY_VALUE)) return code;
  Query query(*m_hKey->store, RegistryStore::CountValues);
  if (query.bind(m_hKey->number).next()) count = static_cast<std::uint32_t>(query.integer(0));
  return query.code();
}

std::int32_t CRegKey::EnumValue(std::uint32_t index, char16_t* name, std::uint32_t* units) const {
  if (const std::int32_t code = permit(m_hKey, KEY_QUERY_VALUE)) return code;
  Query query(*m_hKey->store, RegistryStore::NthValue);
  if (!query.bind(m_hKey->number).bind(std::int64_t{index}).next()) {
    return query.code() == ERROR_SUCCESS ? ERROR_NO_MORE_ITEMS : query.code();
  }
  const std::string_view bytes = query.blob(0);
  const std::size_t length = bytes.size() / sizeof(char16_t);
  if (length >= *units) return ERROR_MORE_DATA;
  if (length > 0) std::memcpy(name, bytes.data(), length * sizeof(char16_t));
  name[length] = u'\0';
  *units = static_cast<std::uint32_t>(length);
  return ERROR_SUCCESS;
}

namespace tessaron {
namespace {

// An open transaction; the destructor rolls it back unless it was committed.
struct Transaction {
  Transaction(const std::shared_ptr<RegistryStore>& of, RegistryStore::Lock held)
      : store(of), lock(std::move(held)) {}
  ~Transaction() {
    if (store->isInTransaction()) store->rollBack();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  const std::shared_ptr<RegistryStore> store;
  const RegistryStore::Lock lock;
};

}  // namespace

RegistryBatch::RegistryBatch(const CRegKey& key, Mode mode) {
  if (permit(key.m_hKey, 0) != ERROR_SUCCESS) return;
  RegistryStore& store = *key.m_hKey->store;
  RegistryStore::Lock lock = store.lock();
  if (!lock) {
    code_ = ERROR_BUSY;
    return;
  }
  if (store.isInTransaction()) return;
  const auto transaction = std::make_shared<Transaction>(key.m_hKey->store, std::move(lock));
  // A read takes the shared lock, which blocks writers.
  code_ = store.execute(mode == Mode::Write ? "BEGIN IMMEDIATE"
                                            : "BEGIN; SELECT 1 FROM sqlite_schema LIMIT 1");
  if (code_ == ERROR_SUCCESS) transaction_ = transaction;
}

RegistryBatch::~RegistryBatch() = default;

std::int32_t RegistryBatch::end() {
  const auto transaction = std::static_pointer_cast<Transaction>(std::exchange(transaction_, {}));
  return transaction ? transaction->store->execute("COMMIT") : code_;
}

std::u16string storeName() { return fromNativePath(storePath()); }

std::u16string takeQuarantinedStore() { return fromNativePath(takeQuarantinedPath()); }

}  // namespace tessaron
