// A chained hash table keyed by text, hashed by h = h * 5 + byte, growing at a load factor of 1.0.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QZ {
namespace SYSTEM {

inline uint32_t text_hash(const std::string& text)
{
    uint32_t h = 0;
    for (unsigned char c : text)
        h = h * 5 + c;
    return h;
}

// The smallest prime at or above n.
inline size_t next_prime(size_t n)
{
    if (n <= 2)
        return 2;
    for (size_t candidate = n | 1;; candidate += 2) {
        bool prime = true;
        for (size_t d = 3; d * d <= candidate; d += 2) {
            if (candidate % d == 0) {
                prime = false;
                break;
            }
        }
        if (prime)
            return candidate;
    }
}

template <typename T>
class Text_hash_table {
public:
    explicit Text_hash_table(size_t buckets = 100) : buckets_(next_prime(buckets)) {}

    Text_hash_table(const Text_hash_table& other) : buckets_(other.buckets_.size())
    {
        other.for_each([this](const std::string& key, const T& value) { insert(key) = value; });
    }
    Text_hash_table& operator=(const Text_hash_table& other)
    {
        if (this != &other) {
            Text_hash_table copy(other);
            buckets_.swap(copy.buckets_);
            size_ = copy.size_;
        }
        return *this;
    }
    Text_hash_table(Text_hash_table&&) noexcept = default;
    Text_hash_table& operator=(Text_hash_table&&) noexcept = default;

    T* find(const std::string& key)
    {
        for (Entry* e = buckets_[index(key)].get(); e; e = e->next.get())
            if (e->key == key)
                return &e->value;
        return nullptr;
    }
    const T* find(const std::string& key) const { return const_cast<Text_hash_table*>(this)->find(key); }

    // The value under key, made default if it was missing.
    T& insert(const std::string& key)
    {
        if (T* found = find(key))
            return *found;
        if (size_ + 1 > buckets_.size())
            rehash(next_prime(buckets_.size() * 2));
        auto& head = buckets_[index(key)];
        auto entry = std::make_unique<Entry>();
        entry->key = key;
        entry->next = std::move(head);
        head = std::move(entry);
        ++size_;
        return head->value;
    }

    bool erase(const std::string& key)
    {
        std::unique_ptr<Entry>* link = &buckets_[index(key)];
        while (*link) {
            if ((*link)->key == key) {
                *link = std::move((*link)->next);
                --size_;
                return true;
            }
            link = &(*link)->next;
        }
        return false;
    }

    void clear()
    {
        for (auto& head : buckets_)
            release_chain(head);
        size_ = 0;
    }

    ~Text_hash_table() { clear(); }

    size_t size() const { return size_; }
    size_t bucket_count() const { return buckets_.size(); }

    template <typename F>
    void for_each(F&& f) const
    {
        for (const auto& head : buckets_)
            for (const Entry* e = head.get(); e; e = e->next.get())
                f(e->key, e->value);
    }

private:
    struct Entry {
        std::string key;
        T value{};
        std::unique_ptr<Entry> next;
    };

    size_t index(const std::string& key) const { return text_hash(key) % buckets_.size(); }

    // Chains are released iteratively so that a long chain cannot exhaust the stack.
    static void release_chain(std::unique_ptr<Entry>& head)
    {
        std::unique_ptr<Entry> e = std::move(head);
        while (e)
            e = std::move(e->next);
    }

    void rehash(size_t count)
    {
        std::vector<std::unique_ptr<Entry>> old;
        old.swap(buckets_);
        buckets_.resize(count);
        for (auto& head : old) {
            std::unique_ptr<Entry> e = std::move(head);
            while (e) {
                std::unique_ptr<Entry> next = std::move(e->next);
                auto& slot = buckets_[index(e->key)];
                e->next = std::move(slot);
                slot = std::move(e);
                e = std::move(next);
            }
        }
    }

    std::vector<std::unique_ptr<Entry>> buckets_;
    size_t size_ = 0;
};

}  // namespace SYSTEM
}  // namespace QZ
