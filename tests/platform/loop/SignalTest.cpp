// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/loop/Signal.h"

namespace {

using Signal = KX::Sig::Signal<void(int)>;

struct SignalTest : testing::Test {
  // A slot that writes down who heard what.
  Signal::Slot writer(char name) {
    return Signal::Slot([this, name](int value) { log += name + std::to_string(value) + " "; });
  }

  Signal signal;
  std::string log;
};

TEST_F(SignalTest, SlotsHearInTheOrderOfTheirConnection) {
  signal.connect(writer('a'));
  signal.connect(writer('b'));
  signal.emit(1);
  signal.emit(2);
  EXPECT_EQ(log, "a1 b1 a2 b2 ");
}

TEST_F(SignalTest, WithoutConnectionNobodyHears) {
  EXPECT_FALSE(signal.hasBeenConnected());
  signal.emit(1);
  EXPECT_EQ(log, "");
}

TEST_F(SignalTest, DisconnectedSlotHearsNothingMore) {
  const std::size_t a = signal.connect(writer('a'));
  signal.connect(writer('b'));
  signal.disconnect(a);
  signal.emit(1);
  EXPECT_EQ(log, "b1 ");
}

TEST_F(SignalTest, UnknownHandleIsIgnored) {
  signal.disconnect(17);
  const std::size_t a = signal.connect(writer('a'));
  signal.disconnect(a);
  signal.disconnect(a);
  signal.emit(1);
  EXPECT_EQ(log, "");
}

TEST_F(SignalTest, SlotMayDisconnectItself) {
  std::size_t handle = 0;
  handle = signal.connect(Signal::Slot([&](int value) {
    signal.disconnect(handle);
    log += "self" + std::to_string(value) + " ";
  }));
  signal.connect(writer('b'));
  signal.emit(1);
  signal.emit(2);
  EXPECT_EQ(log, "self1 b1 b2 ");
}

TEST_F(SignalTest, SlotDisconnectedDuringTheEmissionIsNotCalledAnyMore) {
  std::size_t b = 0;
  signal.connect(Signal::Slot([&](int) { signal.disconnect(b); }));
  b = signal.connect(writer('b'));
  signal.connect(writer('c'));
  signal.emit(1);
  EXPECT_EQ(log, "c1 ");
}

TEST_F(SignalTest, SlotConnectedDuringTheEmissionHearsFromTheNextOneOn) {
  bool isConnected = false;
  signal.connect(Signal::Slot([&](int) {
    if (!isConnected) signal.connect(writer('n'));
    isConnected = true;
  }));
  signal.emit(1);
  EXPECT_EQ(log, "");
  signal.emit(2);
  EXPECT_EQ(log, "n2 ");
}

TEST_F(SignalTest, SlotMayReconnectItself) {
  std::size_t handle = 0;
  Signal::Slot slot;
  slot = Signal::Slot([&](int value) {
    log += "r" + std::to_string(value) + " ";
    signal.disconnect(handle);
    handle = signal.connect(slot);
  });
  handle = signal.connect(slot);
  signal.connect(writer('b'));
  signal.emit(1);
  signal.emit(2);
  EXPECT_EQ(log, "r1 b1 b2 r2 ");
}

TEST_F(SignalTest, NestedEmissionIsHeardByAllBeforeTheOuterOneGoesOn) {
  signal.connect(Signal::Slot([&](int value) {
    log += "a" + std::to_string(value) + " ";
    if (value == 1) signal.emit(2);
  }));
  signal.connect(writer('b'));
  signal.emit(1);
  EXPECT_EQ(log, "a1 a2 b2 b1 ");
}

TEST_F(SignalTest, SlotDisconnectedInANestedEmissionIsNotCalledByTheOuterOne) {
  std::size_t b = 0;
  signal.connect(Signal::Slot([&](int value) { value == 1 ? signal.emit(2) : signal.disconnect(b); }));
  b = signal.connect(writer('b'));
  signal.emit(1);
  EXPECT_EQ(log, "");
}

TEST_F(SignalTest, EmissionEndsWithItsEmitter) {
  auto emitter = std::make_unique<Signal>();
  emitter->connect(writer('a'));
  emitter->connect(Signal::Slot([&](int) { emitter.reset(); }));
  emitter->connect(writer('c'));
  emitter->emit(1);
  EXPECT_EQ(log, "a1 ");
  EXPECT_EQ(emitter, nullptr);
}

TEST_F(SignalTest, EmitterReleasedInANestedEmissionEndsBoth) {
  auto emitter = std::make_unique<Signal>();
  emitter->connect(Signal::Slot([&](int value) {
    if (value == 1) {
      emitter->emit(2);
    } else {
      emitter.reset();
    }
  }));
  emitter->connect(writer('b'));
  emitter->emit(1);
  EXPECT_EQ(log, "");
}

TEST_F(SignalTest, SlotOfAnObjectThatIsGoneIsDropped) {
  struct Listener final : KX::RefCountedUnlessBeingDestroying {
    void hear(int value) { sum += value; }
    int sum = 0;
  };
  KXPtr<Listener> listener(new Listener);
  signal.connect(Signal::Slot::direct(listener.get(), &Listener::hear));
  signal.connect(writer('b'));
  signal.emit(3);
  EXPECT_EQ(listener->sum, 3);
  listener.reset();
  signal.emit(4);
  EXPECT_EQ(log, "b3 b4 ");
}

}  // namespace
