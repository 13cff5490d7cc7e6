// The cache thread. Jobs are handed over through a queue under a std::mutex and a
// pthread condition (not through GLib's sources or GCond) so that every hand-over is
// visible to thread checkers. std::condition_variable is not used: it lives in the C++
// runtime library, which this library does not load.
#include "cache/worker.hpp"

#include <pthread.h>

#include <mutex>

namespace lumo::cache {

namespace {

struct Job {
    void (*fn)(void *);
    void *arg;
    bool done = false;
    Job *next = nullptr;
};

struct Worker {
    std::mutex mutex;
    pthread_cond_t finished = PTHREAD_COND_INITIALIZER;
    Job *head = nullptr;
    Job *tail = nullptr;
    GMainContext *context = nullptr;
};

thread_local bool t_on_worker = false;

void run_jobs(Worker &w)
{
    for (;;) {
        Job *job;
        {
            std::lock_guard<std::mutex> lock(w.mutex);
            job = w.head;
            if (!job)
                return;
            w.head = job->next;
            if (!w.head)
                w.tail = nullptr;
        }
        job->fn(job->arg);
        {
            std::lock_guard<std::mutex> lock(w.mutex);
            job->done = true;
        }
        pthread_cond_broadcast(&w.finished);
    }
}

gpointer worker_main(gpointer data)
{
    auto *w = static_cast<Worker *>(data);
    t_on_worker = true;
    g_main_context_push_thread_default(w->context);
    for (;;) {
        run_jobs(*w);
        g_main_context_iteration(w->context, TRUE);
    }
    return nullptr;
}

// Made once, on first use (pthread_once: thread checkers see it, unlike g_once).
Worker *g_worker = nullptr;
pthread_once_t g_worker_once = PTHREAD_ONCE_INIT;

void start_worker()
{
    auto *fresh = new Worker;
    fresh->context = g_main_context_new();
    g_thread_unref(g_thread_new("lumoCache", worker_main, fresh));
    g_worker = fresh;
}

Worker &worker()
{
    pthread_once(&g_worker_once, start_worker);
    return *g_worker;
}

}  // namespace

void run_on_worker(void (*fn)(void *), void *arg)
{
    if (t_on_worker) {
        fn(arg);
        return;
    }
    Worker &w = worker();
    Job job{fn, arg};
    {
        std::lock_guard<std::mutex> lock(w.mutex);
        if (w.tail)
            w.tail->next = &job;
        else
            w.head = &job;
        w.tail = &job;
    }
    g_main_context_wakeup(w.context);
    std::lock_guard<std::mutex> lock(w.mutex);
    while (!job.done)
        pthread_cond_wait(&w.finished, w.mutex.native_handle());
}

GMainContext *worker_context()
{
    return worker().context;
}

bool on_worker()
{
    return t_on_worker;
}

}  // namespace lumo::cache
