#include <pthread.h>

#include <gtest/gtest.h>

#include "formulatest.h"

namespace {

struct Job {
    std::u16string text;
    CString result;
};

void* Compile(void* arg) {
    auto* job = static_cast<Job*>(arg);
    formulatest::Evaluator e;
    job->result = e.Eval(job->text.c_str());
    return nullptr;
}

// Runs on a thread with a small stack, as a host's worker might have.
CString EvalOnSmallStack(std::u16string text) {
#if defined(__SANITIZE_ADDRESS__)
    const size_t stack = 1024 * 1024; // the sanitizer's reserve alone is 256 KiB
#else
    const size_t stack = 256 * 1024;
#endif
    Job job{std::move(text), {}};
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, stack);
    pthread_t thread;
    EXPECT_EQ(0, pthread_create(&thread, &attr, &Compile, &job));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
    return job.result;
}

std::u16string Repeat(const char16_t* head, const char16_t* tail, int depth,
                      const char16_t* middle) {
    std::u16string text;
    for (int i = 0; i < depth; ++i) text += head;
    text += middle;
    for (int i = 0; i < depth; ++i) text += tail;
    return text;
}

} // namespace

TEST(FormulaRecursion, DeepNestingEndsInTheStackError) {
    const CString overflow(u"Переполнение стека вычислений");
    for (const auto& text :
         {Repeat(u"if(1, ", u", 0)", 100000, u"1"), Repeat(u"min(1, ", u")", 100000, u"1"),
          Repeat(u"case(1 when 1 then ", u")", 100000, u"1"), Repeat(u"x[", u"]", 100000, u"1")}) {
        const CString result = EvalOnSmallStack(text);
        EXPECT_EQ(0, result.Find(u"Ошибка в выражении: \"Переполнение стека вычислений\""))
            << result;
    }
    // Shallow nesting still works on the small stack.
    EXPECT_EQ(CString(u"1"), EvalOnSmallStack(Repeat(u"if(1, ", u", 0)", 20, u"1")));
    (void)overflow;
}
