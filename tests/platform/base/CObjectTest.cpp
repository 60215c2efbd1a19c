// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/base/CObject.h"
#include "platform/base/KXPtr.h"

namespace {

class ISpeaker {
 public:
  virtual int speak() = 0;

 protected:
  ~ISpeaker() = default;
};

class IWalker {
 public:
  virtual int walk() = 0;

 protected:
  ~IWalker() = default;
};

class ISwimmer {
 public:
  virtual int swim() = 0;

 protected:
  ~ISwimmer() = default;
};

class CDog : public CInherit<CDog, CObject, ISpeaker, IWalker> {
 public:
  int speak() override { return 1; }
  int walk() override { return 2; }
};

class CDiver : public CInherit<CDiver, CDog, ISwimmer> {
 public:
  int swim() override { return 3; }
};

template <class Interface>
Interface* query(CObject& object) {
  return static_cast<Interface*>(object.queryInterface(kxInterfaceId<Interface>()));
}

TEST(CObjectTest, AnswersForItsInterfacesAndItself) {
  const KXPPtr<CDog> dog(new CDog);
  EXPECT_EQ(query<ISpeaker>(*dog)->speak(), 1);
  EXPECT_EQ(query<IWalker>(*dog)->walk(), 2);
  EXPECT_EQ(query<CDog>(*dog), dog.get());
}

TEST(CObjectTest, DoesNotAnswerForOthers) {
  const KXPPtr<CDog> dog(new CDog);
  EXPECT_EQ(query<ISwimmer>(*dog), nullptr);
  EXPECT_EQ(query<CDiver>(*dog), nullptr);
}

TEST(CObjectTest, AnswersForTheInterfacesOfItsBasesToo) {
  const KXPPtr<CDiver> diver(new CDiver);
  EXPECT_EQ(query<ISwimmer>(*diver)->swim(), 3);
  EXPECT_EQ(query<IWalker>(*diver)->walk(), 2);
  EXPECT_EQ(query<CDog>(*diver), diver.get());
}

TEST(CObjectTest, LockIsRecursive) {
  const KXPPtr<CDog> dog(new CDog);
  const KXLockPtr<CDog> outer(dog);
  const KXLockPtr<CDog> inner(dog);
  EXPECT_EQ(inner->speak(), 1);
}

}  // namespace
