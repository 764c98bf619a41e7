// Typed signals delivered synchronously to member functions of receivers.
//
// A signal keeps an ordered list of connections; a receiver (a class derived
// from has_slots) keeps the set of signals connected to it. Whichever side is
// destroyed first takes its connections with it, so neither is left pointing at
// the other. Each side locks itself by its own threading policy (see
// sigslot_policies.h); the two sides may use different policies.
//
// Lock rules:
//  - emit() holds the signal's lock while it calls the slots, in order of
//    connection, on the emitting thread. So once disconnect(), slot_disconnect()
//    or disconnect_all() has returned, no delivery of this signal to that
//    receiver is under way: a disconnect is also a barrier.
//  - Signal operations take the signal's lock and then the receiver's, never the
//    other way round. A slot must therefore not take the lock of its own
//    has_slots part, and must not wait for a thread that is about to use the
//    signal that is delivering to it.
//  - The signal's lock is re-entrant: a slot may connect or disconnect on the
//    signal that calls it, and may remove its own connection, but not the one
//    after it.
//  - connect() does not look for an existing connection: connecting twice
//    delivers twice. disconnect() removes one connection; a receiver's
//    disconnect_all() removes all of its connections.
//  - emit() allocates nothing.
//  - A class derived from has_slots has lost its own members by the time the
//    base disconnects, so it must itself make sure that no delivery can reach
//    it any more before it is destroyed (disconnect_all() in its destructor).
#ifndef SARVIK_PLATFORM_SIGSLOT_H
#define SARVIK_PLATFORM_SIGSLOT_H

#include <iterator>
#include <list>
#include <memory>
#include <set>

#include "platform/recycling_allocator.h"
#include "platform/sigslot_policies.h"

namespace sigslot {

class has_slots_interface;

// What a receiver knows of a signal. Never deleted through this interface.
class _signal_base_interface {
 public:
  // Removes every connection to pslot without calling pslot back.
  virtual void slot_disconnect(has_slots_interface* pslot) = 0;
  // Appends, for each connection to poldslot, one aimed at pnewslot.
  virtual void slot_duplicate(const has_slots_interface* poldslot,
                              has_slots_interface* pnewslot) = 0;

 protected:
  ~_signal_base_interface() {}
};

// What a signal knows of a receiver.
class has_slots_interface {
 public:
  virtual void signal_connect(_signal_base_interface* sender) = 0;
  virtual void signal_disconnect(_signal_base_interface* sender) = 0;
  virtual ~has_slots_interface() {}
  virtual void disconnect_all() = 0;
};

// Base of every receiver.
template <class mt_policy = multi_threaded_local>
class has_slots : public has_slots_interface, public mt_policy {
 public:
  has_slots() {}
  // The copy is connected to every signal the original is connected to.
  has_slots(const has_slots& other);
  has_slots& operator=(const has_slots&) = delete;
  ~has_slots() override { has_slots::disconnect_all(); }

  void signal_connect(_signal_base_interface* sender) override {
    lock_block<mt_policy> lock(this);
    m_senders.insert(sender);
  }

  void signal_disconnect(_signal_base_interface* sender) override {
    lock_block<mt_policy> lock(this);
    m_senders.erase(sender);
  }

  // Removes this receiver from every signal. When it returns, no delivery to
  // this receiver is under way on any of them.
  void disconnect_all() override;

 protected:
  typedef std::set<_signal_base_interface*, std::less<_signal_base_interface*>,
                   sarvik::RecyclingAllocator<_signal_base_interface*>>
      sender_set;
  sender_set m_senders;  // guarded by this object's policy lock
};

template <class mt_policy>
has_slots<mt_policy>::has_slots(const has_slots& other) : has_slots_interface(), mt_policy(other) {
  sender_set senders;
  {
    lock_block<mt_policy> lock(const_cast<has_slots*>(&other));
    senders = other.m_senders;
  }
  // slot_duplicate enters each signal in this copy's set.
  for (_signal_base_interface* sender : senders) sender->slot_duplicate(&other, this);
}

template <class mt_policy>
void has_slots<mt_policy>::disconnect_all() {
  sender_set senders;
  {
    lock_block<mt_policy> lock(this);
    senders.swap(m_senders);
  }
  // The signals are told with this lock released: they take their own lock
  // before a receiver's, so holding ours here would nest the other way round
  // and could deadlock with a connect. Each slot_disconnect still waits for a
  // delivery under way, so this remains a barrier.
  for (_signal_base_interface* sender : senders) sender->slot_disconnect(this);
}

// One connection: a receiver and one of its member functions. The function may
// be virtual, and is then dispatched on the receiver's real class.
template <class mt_policy, class... arg_types>
class _connection_base_n {
 public:
  virtual ~_connection_base_n() {}
  virtual has_slots_interface* getdest() const = 0;
  virtual void emit(arg_types... args) = 0;
  virtual _connection_base_n* clone() = 0;
  virtual _connection_base_n* duplicate(has_slots_interface* pnewdest) = 0;
};

template <class dest_type, class mt_policy, class... arg_types>
class _connection_n : public _connection_base_n<mt_policy, arg_types...> {
 public:
  typedef _connection_base_n<mt_policy, arg_types...> base;
  typedef void (dest_type::*member_function)(arg_types...);

  _connection_n(dest_type* pobject, member_function pmemfun)
      : m_pobject(pobject), m_pmemfun(pmemfun) {}

  // Waits connect and disconnect for every call: connections are recycled
  // rather than allocated each time.
  static void* operator new(size_t size) {
    return size == sizeof(_connection_n) ? sarvik::BlockPool<sizeof(_connection_n)>::take() : ::operator new(size);
  }
  static void operator delete(void* block, size_t size) {
    if (size == sizeof(_connection_n)) {
      sarvik::BlockPool<sizeof(_connection_n)>::give(block);
    } else {
      ::operator delete(block);
    }
  }

  has_slots_interface* getdest() const override { return m_pobject; }
  void emit(arg_types... args) override { (static_cast<dest_type*>(m_pobject)->*m_pmemfun)(args...); }
  base* clone() override { return new _connection_n(*this); }
  base* duplicate(has_slots_interface* pnewdest) override {
    return new _connection_n(pnewdest, m_pmemfun);
  }

 private:
  _connection_n(has_slots_interface* pobject, member_function pmemfun)
      : m_pobject(pobject), m_pmemfun(pmemfun) {}

  // Kept by its interface and cast only at delivery: duplicate() is called
  // while a copied receiver is still being constructed, when it is not yet a
  // dest_type.
  has_slots_interface* m_pobject;
  member_function m_pmemfun;
};

template <class mt_policy>
class _signal_base : public _signal_base_interface, public mt_policy {};

// The list of connections and everything that removes from it.
template <class mt_policy, class... arg_types>
class _signal_base_n : public _signal_base<mt_policy> {
 public:
  typedef _connection_base_n<mt_policy, arg_types...> connection;
  typedef std::list<connection*, sarvik::RecyclingAllocator<connection*>> connections_list;

  _signal_base_n() {}
  // The copy is connected to the same receivers, in the same order.
  _signal_base_n(const _signal_base_n& other);
  _signal_base_n& operator=(const _signal_base_n&) = delete;
  ~_signal_base_n() { disconnect_all(); }

  // Removes all connections and tells each receiver.
  void disconnect_all();
  // Removes the first connection to pclass, if any.
  void disconnect(has_slots_interface* pclass);

  void slot_disconnect(has_slots_interface* pslot) override;
  void slot_duplicate(const has_slots_interface* poldslot, has_slots_interface* pnewslot) override;

 protected:
  // REQUIRES: this signal's lock held. Takes ownership of conn.
  void append(std::unique_ptr<connection> conn);
  bool connected_to(const has_slots_interface* pclass) const;

  connections_list m_connected_slots;  // owns the connections; guarded by the policy lock
};

template <class mt_policy, class... arg_types>
_signal_base_n<mt_policy, arg_types...>::_signal_base_n(const _signal_base_n& other)
    : _signal_base<mt_policy>(other) {
  lock_block<mt_policy> lockOther(const_cast<_signal_base_n*>(&other));
  lock_block<mt_policy> lock(this);
  for (connection* conn : other.m_connected_slots) append(std::unique_ptr<connection>(conn->clone()));
}

template <class mt_policy, class... arg_types>
void _signal_base_n<mt_policy, arg_types...>::disconnect_all() {
  lock_block<mt_policy> lock(this);
  for (connection* conn : m_connected_slots) {
    conn->getdest()->signal_disconnect(this);
    delete conn;
  }
  m_connected_slots.clear();
}

template <class mt_policy, class... arg_types>
void _signal_base_n<mt_policy, arg_types...>::disconnect(has_slots_interface* pclass) {
  lock_block<mt_policy> lock(this);
  for (auto it = m_connected_slots.begin(); it != m_connected_slots.end(); ++it) {
    if ((*it)->getdest() != pclass) continue;
    delete *it;
    m_connected_slots.erase(it);
    // A receiver connected twice keeps this signal in its set while a
    // connection is left, or it couldn't remove that one when it dies.
    if (!connected_to(pclass)) pclass->signal_disconnect(this);
    return;
  }
}

template <class mt_policy, class... arg_types>
void _signal_base_n<mt_policy, arg_types...>::slot_disconnect(has_slots_interface* pslot) {
  lock_block<mt_policy> lock(this);
  auto it = m_connected_slots.begin();
  while (it != m_connected_slots.end()) {
    auto next = std::next(it);
    if ((*it)->getdest() == pslot) {
      delete *it;
      m_connected_slots.erase(it);
    }
    it = next;
  }
}

template <class mt_policy, class... arg_types>
void _signal_base_n<mt_policy, arg_types...>::slot_duplicate(const has_slots_interface* poldslot,
                                                             has_slots_interface* pnewslot) {
  lock_block<mt_policy> lock(this);
  // Appended entries aim at pnewslot, so the walk passes over them unchanged.
  for (auto it = m_connected_slots.begin(); it != m_connected_slots.end(); ++it) {
    if ((*it)->getdest() == poldslot)
      append(std::unique_ptr<connection>((*it)->duplicate(pnewslot)));
  }
}

// Links the connection and tells its receiver such that an allocation failure
// in either step leaves neither side changed.
template <class mt_policy, class... arg_types>
void _signal_base_n<mt_policy, arg_types...>::append(std::unique_ptr<connection> conn) {
  connections_list node;
  node.push_back(conn.get());
  conn->getdest()->signal_connect(this);
  conn.release();
  m_connected_slots.splice(m_connected_slots.end(), node);
}

template <class mt_policy, class... arg_types>
bool _signal_base_n<mt_policy, arg_types...>::connected_to(const has_slots_interface* pclass) const {
  for (const connection* conn : m_connected_slots) {
    if (conn->getdest() == pclass) return true;
  }
  return false;
}

template <class T>
struct _non_deduced {
  typedef T type;
};

template <class mt_policy, class... arg_types>
class signal_n : public _signal_base_n<mt_policy, arg_types...> {
 public:
  typedef _signal_base_n<mt_policy, arg_types...> base;

  // The receiver's type is taken from the member function, so a derived
  // receiver may be connected to a member of its base.
  template <class desttype>
  void connect(typename _non_deduced<desttype>::type* pclass,
               void (desttype::*pmemfun)(arg_types...)) {
    lock_block<mt_policy> lock(this);
    this->append(std::unique_ptr<typename base::connection>(
        new _connection_n<desttype, mt_policy, arg_types...>(pclass, pmemfun)));
  }

  void emit(arg_types... args) {
    lock_block<mt_policy> lock(this);
    auto it = this->m_connected_slots.begin();
    while (it != this->m_connected_slots.end()) {
      // Noted before the call: the slot may remove its own connection.
      auto next = std::next(it);
      (*it)->emit(args...);
      it = next;
    }
  }

  void operator()(arg_types... args) { emit(args...); }
};

// The names by which the module uses the family.
template <class mt_policy = multi_threaded_local>
using _connection_base0 = _connection_base_n<mt_policy>;
template <class arg_type, class mt_policy = multi_threaded_local>
using _connection_base1 = _connection_base_n<mt_policy, arg_type>;
template <class dest_type, class mt_policy = multi_threaded_local>
using _connection0 = _connection_n<dest_type, mt_policy>;
template <class dest_type, class arg_type, class mt_policy = multi_threaded_local>
using _connection1 = _connection_n<dest_type, mt_policy, arg_type>;
template <class mt_policy = multi_threaded_local>
using _signal_base0 = _signal_base_n<mt_policy>;
template <class arg_type, class mt_policy = multi_threaded_local>
using _signal_base1 = _signal_base_n<mt_policy, arg_type>;
template <class mt_policy = multi_threaded_local>
using signal0 = signal_n<mt_policy>;
template <class arg_type, class mt_policy = multi_threaded_local>
using signal1 = signal_n<mt_policy, arg_type>;

}  // namespace sigslot

#endif  // SARVIK_PLATFORM_SIGSLOT_H
