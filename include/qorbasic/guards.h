// Scope-bound ownership of raw pointers in libqorbasic.
//
// Objects of the library are held by raw pointers; these guards see that
// they are freed when the scope ends, on return and when an exception passes:
//
//   ScopedPtr<std::string> text(new std::string("a"));
//   if (text.is_valid()) text->append("b");        // deleted at scope end
//
//   std::vector<std::string*> items;
//   ClearVectorPolicy<std::string> cleanup(items); // deletes every element
//   items.push_back(new std::string("c"));
//
// Surprising cases:
// - ScopedRelease<T> does not clear itself in its destructor: `release` is
//   virtual and the derived part is gone by then. Every derived guard calls
//   clear() in its own destructor, as ScopedPtr<T> does.
// - assign() with the pointer already held does nothing, so the object stays
//   alive; assign(nullptr) disposes of the object and leaves the guard empty.
// - clear_vector() calls `dispose` for null slots too, and nulls each slot
//   before disposing of it; a dispose function must accept null.
// - ClearVectorPolicy<T> has no dismissal: the vector is always emptied.
#ifndef QORBASIC_GUARDS_H
#define QORBASIC_GUARDS_H

#include <vector>

// Holds one pointer, or none, and hands it to `release` on clear().
template <typename T>
class ScopedRelease {
  public:
    explicit ScopedRelease(T* held) : held_(held) {}

    ScopedRelease(const ScopedRelease&) = delete;
    ScopedRelease& operator=(const ScopedRelease&) = delete;

    // Disposes of the held object, if any, and leaves the guard empty.
    virtual void release(T* held) = 0;
    virtual ~ScopedRelease() = 0;

    void clear() {
        if (held_ != nullptr) {
            release(held_);
            held_ = nullptr;
        }
    }

    bool is_valid() const { return held_ != nullptr; }

    // Unchecked: the guard must hold a pointer.
    T* operator->() const { return held_; }

    void assign(T* held) {
        if (held == held_) return;
        clear();
        held_ = held;
    }

  private:
    T* held_;
};

template <typename T>
ScopedRelease<T>::~ScopedRelease() {}

// Owns a heap object and deletes it at the end of its scope.
template <typename T>
class ScopedPtr : public ScopedRelease<T> {
  public:
    explicit ScopedPtr(T* held) : ScopedRelease<T>(held) {}

    void release(T* held) override { delete held; }
    ~ScopedPtr() override { this->clear(); }
};

template <typename T>
void deleting_disposal(T* item) {
    delete item;
}

// Nulls each slot, then disposes of what it held, and empties the vector.
template <typename T>
void clear_vector(std::vector<T*>& items, void (*dispose)(T*)) {
    const int count = static_cast<int>(items.size());
    for (int i = 0; i < count; ++i) {
        T* item = items[i];
        items[i] = nullptr;
        dispose(item);
    }
    items.clear();
}

template <typename T>
void clear_vector(std::vector<T*>& items) {
    clear_vector<T>(items, deleting_disposal<T>);
}

// Deletes every element of a vector of owned pointers at the end of a scope.
template <typename T>
class ClearVectorPolicy {
  public:
    explicit ClearVectorPolicy(std::vector<T*>& items) : items_(items) {}
    ~ClearVectorPolicy() { clear_vector<T>(items_, deleting_disposal<T>); }

    ClearVectorPolicy(const ClearVectorPolicy&) = delete;
    ClearVectorPolicy& operator=(const ClearVectorPolicy&) = delete;

  private:
    std::vector<T*>& items_;
};

#endif  // QORBASIC_GUARDS_H
