#pragma once

#include "dialogs/dialog.h"

#include <QString>

#include <deque>
#include <vector>

namespace TestSupport {

// Answers questions from a script and keeps every question and message it was shown. With the
// script exhausted it answers `fallback`.
class FakeDialogs final : public Dialog::IDialogs {
public:
    struct Shown {
        QString title;
        QString text;
        QString details;
        bool isQuestion;
    };

    explicit FakeDialogs(bool fallback = false)
        : fallback(fallback)
    {
    }

    bool
    question(const QString &title, const QString &text, const QString &, const QString &) override
    {
        shown.push_back({ title, text, QString(), true });
        if (answers.empty())
            return fallback;
        const bool answer = answers.front();
        answers.pop_front();
        return answer;
    }

    void message(const QString &title, const QString &text, const QString &details) override
    {
        shown.push_back({ title, text, details, false });
    }

    int questionCount() const
    {
        int n = 0;
        for (const Shown &s : shown)
            n += s.isQuestion ? 1 : 0;
        return n;
    }

    std::deque<bool> answers;
    bool fallback;
    std::vector<Shown> shown;
};

} // namespace TestSupport
