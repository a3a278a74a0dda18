// A reader's second thread, joined on every way out of the scope that owns it.
#ifndef CKXJOININGTHREAD_H
#define CKXJOININGTHREAD_H

#include <system_error>
#include <thread>

// Joined when it goes out of scope, so that no return path, early or by an exception, leaves
// it running on the locals of a call that has ended. Declare it after everything its task
// uses: those then outlive the join.
class CKXJoiningThread
{
public:
    CKXJoiningThread() = default;
    ~CKXJoiningThread() { join(); }
    CKXJoiningThread(const CKXJoiningThread&) = delete;
    CKXJoiningThread& operator=(const CKXJoiningThread&) = delete;

    // Runs a copy of `task` on a new thread, or `task` itself right here when the system cannot
    // start one (it is then done when start returns). `task` must not throw.
    template <class F> void start(const F& task)
    {
        if (!tryStart(task))
            task();
    }
    // Runs a copy of `task` on a new thread; false, and `task` not run, when the system cannot
    // start one.
    template <class F> bool tryStart(const F& task)
    {
        join();
        try
        {
            m_thread = std::thread(task);
            return true;
        }
        catch (const std::system_error&)
        {
            return false;
        }
    }
    // Waits for the task; returns at once when none runs.
    void join()
    {
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    std::thread m_thread;
};

#endif // CKXJOININGTHREAD_H
