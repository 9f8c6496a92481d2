// Keyed hash table with up to four keys per record. The records and the
// entries are plain C structures because callers walk them directly; all
// memory is owned by the table and released by TAB_clear.
#include <cstring>
#include <new>

#include "zor/text.h"

namespace {

constexpr int kMaxKeys = 4;
constexpr int kHashMod = 35177;

int bucket_of(const char* key, int tab_size) {
  int h = 0;
  for (const char* p = key; *p != '\0'; ++p) h = (h * 257 + static_cast<signed char>(*p)) % kHashMod;
  // Bytes above 127 are negative as signed chars; keep the index in range.
  int b = h % tab_size;
  return b < 0 ? b + tab_size : b;
}

char* copy_text(const char* s) {
  std::size_t n = std::strlen(s);
  char* c = new (std::nothrow) char[n + 1];
  if (c != nullptr) std::memcpy(c, s, n + 1);
  return c;
}

bool usable(const TAB_table* tab, int keynum) {
  return tab != nullptr && keynum >= 1 && keynum <= tab->numkey && tab->tab_size > 0 &&
         tab->table[keynum - 1] != nullptr;
}

}  // namespace

int TAB_init(TAB_table* tab) {
  if (tab == nullptr) return -1;
  *tab = TAB_table{};
  return 0;
}

int TAB_create(TAB_table* tab, int tsize, int dsize, int nkey) {
  if (tab == nullptr || tsize < 1 || dsize < 0 || nkey < 1 || nkey > kMaxKeys) return -1;
  TAB_init(tab);
  tab->tab_size = tsize;
  tab->data_size = dsize;
  tab->numkey = nkey;
  for (int k = 0; k < nkey; ++k) {
    tab->table[k] = new (std::nothrow) TAB_entry[static_cast<std::size_t>(tsize)];
    if (tab->table[k] == nullptr) {
      TAB_clear(tab);
      return -1;
    }
  }
  return 0;
}

int TAB_enter(TAB_table* tab, const char* data, const char* key1, const char* key2,
              const char* key3, const char* key4) {
  if (tab == nullptr || tab->numkey < 1 || tab->tab_size < 1) return -1;
  const char* keys[kMaxKeys] = {key1, key2, key3, key4};

  char* record = new (std::nothrow) char[tab->data_size > 0 ? tab->data_size : 1]();
  if (record == nullptr) return -1;
  if (data != nullptr && tab->data_size > 0) std::memcpy(record, data, static_cast<std::size_t>(tab->data_size));

  TAB_entry* first = nullptr;
  for (int k = 0; k < tab->numkey; ++k) {
    if (tab->table[k] == nullptr) {
      if (first == nullptr) delete[] record;
      return -1;
    }
    const char* key = keys[k] != nullptr ? keys[k] : "";
    char* key_copy = copy_text(key);
    if (key_copy == nullptr) {
      if (first == nullptr) delete[] record;
      return -1;
    }
    TAB_entry* e = &tab->table[k][bucket_of(key, tab->tab_size)];
    while (e->key != nullptr && e->link != nullptr) e = e->link;
    if (e->key != nullptr) {
      TAB_entry* added = new (std::nothrow) TAB_entry;
      if (added == nullptr) {
        delete[] key_copy;
        if (first == nullptr) delete[] record;
        return -1;
      }
      e->link = added;
      e = added;
    }
    e->key = key_copy;
    e->data = record;
    if (k == 0) first = e;
  }
  if (tab->last_ptr != nullptr)
    tab->last_ptr->next = first;
  else
    tab->head_ptr = first;
  tab->last_ptr = first;
  ++tab->num_entry;
  return 0;
}

char* TAB_search(TAB_table* tab, int keynum, const char* key) {
  if (!usable(tab, keynum) || key == nullptr) return nullptr;
  for (TAB_entry* e = &tab->table[keynum - 1][bucket_of(key, tab->tab_size)]; e != nullptr; e = e->link)
    if (e->key != nullptr && std::strcmp(e->key, key) == 0) return e->data;
  return nullptr;
}

int TAB_searches(TAB_table* tab, int keynum, const char* key, char** found, int max) {
  if (!usable(tab, keynum) || key == nullptr || found == nullptr) return 0;
  int n = 0;
  for (TAB_entry* e = &tab->table[keynum - 1][bucket_of(key, tab->tab_size)]; e != nullptr && n < max;
       e = e->link)
    if (e->key != nullptr && std::strcmp(e->key, key) == 0) found[n++] = e->data;
  return n;
}

char* TAB_first(TAB_table* tab, TAB_entry** pos) {
  if (tab == nullptr || pos == nullptr) return nullptr;
  *pos = tab->head_ptr;
  return *pos != nullptr ? (*pos)->data : nullptr;
}

char* TAB_next(TAB_entry** pos) {
  if (pos == nullptr || *pos == nullptr) return nullptr;
  *pos = (*pos)->next;
  return *pos != nullptr ? (*pos)->data : nullptr;
}

int TAB_clear(TAB_table* tab) {
  if (tab == nullptr) return -1;
  // Records are shared by the entries of every key; free them once, through
  // the insertion-order list on the first key.
  for (TAB_entry* r = tab->head_ptr; r != nullptr; r = r->next) delete[] r->data;
  for (int k = 0; k < kMaxKeys; ++k) {
    TAB_entry* bucket = tab->table[k];
    if (bucket == nullptr) continue;
    for (int b = 0; b < tab->tab_size; ++b) {
      delete[] bucket[b].key;
      TAB_entry* e = bucket[b].link;
      while (e != nullptr) {
        TAB_entry* next = e->link;
        delete[] e->key;
        delete e;
        e = next;
      }
    }
    delete[] bucket;
  }
  TAB_init(tab);
  return 0;
}
