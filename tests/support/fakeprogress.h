#pragma once

#include "dialogs/progress.h"

#include <QString>

#include <vector>

namespace TestSupport {

// Records what the progress dialogs were asked to show, and presses cancel when a test says so.
class FakeProgressFactory final : public Report::IProgressFactory {
public:
    struct Record {
        QString label;
        QString cancelText;
        int maximum = 0;
        std::vector<int> values;
        std::vector<QString> texts;
        bool open = true;
    };

    class Progress final : public Report::IProgress {
    public:
        Progress(FakeProgressFactory &factory,
                 std::size_t index,
                 Report::IProgressListener *listener)
            : m_factory(factory)
            , m_index(index)
            , m_listener(listener)
        {
            m_factory.current = this;
        }
        ~Progress() override
        {
            record().open = false;
            if (m_factory.current == this)
                m_factory.current = nullptr;
        }
        void setMaximum(int maximum) override { record().maximum = maximum; }
        void setValue(int value) override { record().values.push_back(value); }
        void setText(const QString &text) override { record().texts.push_back(text); }
        int value() const override
        {
            const auto &values = m_factory.records[m_index].values;
            return values.empty() ? 0 : values.back();
        }
        int maximum() const override { return m_factory.records[m_index].maximum; }
        void cancel() { m_listener->progressCancelled(*this); }

    private:
        Record &record() { return m_factory.records[m_index]; }
        FakeProgressFactory &m_factory;
        std::size_t m_index;
        Report::IProgressListener *m_listener;
    };

    std::unique_ptr<Report::IProgress> create(const QString &label,
                                              const QString &cancelText,
                                              int maximum,
                                              Report::IProgressListener *listener) override
    {
        records.push_back(Record { label, cancelText, maximum, {}, {}, true });
        return std::make_unique<Progress>(*this, records.size() - 1, listener);
    }

    // Presses cancel on the open progress; false when none is open.
    bool pressCancel()
    {
        if (!current)
            return false;
        current->cancel();
        return true;
    }

    std::vector<Record> records;
    Progress *current = nullptr;
};

} // namespace TestSupport
