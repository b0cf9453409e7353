#include <zel/foundation/Locks.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

TEST(Locks, aMutexMayBeTakenAgainByItsHolder)
{
    zel::Mutex mutex;
    zel::AutoMutex const outer(mutex);
    bool takenByOther = true;
    {
        zel::AutoMutex const inner(mutex);
    }
    std::thread([&] { takenByOther = mutex.try_lock(); }).join();
    EXPECT_FALSE(takenByOther);
}

TEST(Locks, writersAreAloneAndReadersShare)
{
    zel::ReadWriteLock lock;
    std::size_t value = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                zel::WriteGuard const guard(lock);
                ++value;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    zel::ReadGuard const mine(lock);
    std::size_t seen = 0;
    std::thread([&] {
        zel::ReadGuard const shared(lock); // would wait for ever if readers did not share
        seen = value;
    }).join();
    EXPECT_EQ(seen, 4000u);
}

TEST(Locks, aSemaphoreCountsItsPosts)
{
    zel::ManagedSemaphore semaphore(1);
    semaphore.post();
    EXPECT_TRUE(semaphore.wait(0));
    EXPECT_TRUE(semaphore.wait());
    EXPECT_FALSE(semaphore.wait(0));
    EXPECT_FALSE(semaphore.wait(1));

    std::size_t taken = 0;
    std::thread waiter([&] {
        for (int i = 0; i < 500; ++i)
            taken += semaphore.wait() ? 1u : 0u;
    });
    for (int i = 0; i < 500; ++i)
        semaphore.post();
    waiter.join();
    EXPECT_EQ(taken, 500u);
    EXPECT_FALSE(semaphore.wait(0));
}
