#pragma once

#include <QtCore/QVector>

#include <csignal>
#include <functional>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

/// A process that runs `work` with the writing end of a pipe, and what it wrote: numbers.
class Process
{
public:
    explicit Process(const std::function<void(int)> &work)
    {
        int ends[2] = {};
        if (::pipe(ends) != 0)
            qFatal("no pipe");
        m_output = ends[0];
        const pid_t parent = ::getpid();
        m_process = ::fork();
        if (m_process < 0)
            qFatal("no process");
        if (m_process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (::getppid() == parent)
                work(ends[1]);
            ::_exit(0);
        }
        ::close(ends[1]);
    }
    ~Process()
    {
        kill();
        finish();
        ::close(m_output);
    }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    void kill()
    {
        if (m_process > 0)
            ::kill(m_process, SIGKILL);
    }
    /// Waits for its end; everything that it wrote since the last readNumber().
    QVector<int> finish()
    {
        QVector<int> result;
        for (int number = 0; m_process > 0 && readNumber(number, -1);)
            result += number;
        if (m_process > 0)
            ::waitpid(m_process, &m_status, 0);
        m_process = -1;
        return result;
    }
    bool wasKilled() const { return WIFSIGNALED(m_status) && WTERMSIG(m_status) == SIGKILL; }
    /// False at the end, and after `timeout` milliseconds without a number; -1: no limit.
    bool readNumber(int &number, int timeout)
    {
        pollfd waiting{m_output, POLLIN, 0};
        if (::poll(&waiting, 1, timeout) != 1)
            return false;
        return ::read(m_output, &number, sizeof number) == ssize_t(sizeof number); // less than PIPE_BUF: whole, or not there
    }

private:
    pid_t m_process = -1;
    int m_output = -1;
    int m_status = 0;
};

/// For `work`: writes a number, which readNumber() and finish() read.
inline void writeNumber(int output, int number)
{
    if (::write(output, &number, sizeof number) != ssize_t(sizeof number))
        ::_exit(1);
}
