#pragma once

#include <ExternlMediaTransfer/host/EventQueue.h>

#include <QMetaObject>
#include <QObject>
#include <memory>

/// Brings what the library tells to the thread of the windows, through Qt's main loop.
class QtLoop {
 public:
  QtLoop() = default;
  QtLoop(const QtLoop&) = delete;
  QtLoop& operator=(const QtLoop&) = delete;

  [[nodiscard]] KBL::host::Executor executor() const { return queue_->executor(); }

 private:
  /// Asks for a run of the queue. The loop forgets the calls of a receiver that has gone; one that a thread
  /// of the library makes meanwhile still finds it, since the queue's own state holds it.
  struct Waker {
    void operator()() const {
      QMetaObject::invokeMethod(
          receiver.get(),
          [queue = queue] {
            if (const auto there = queue->lock()) there->run();
          },
          Qt::QueuedConnection);
    }
    std::shared_ptr<QObject> receiver = {new QObject, [](QObject* object) { object->deleteLater(); }};
    std::shared_ptr<std::weak_ptr<KBL::host::EventQueue>> queue =
        std::make_shared<std::weak_ptr<KBL::host::EventQueue>>();
  };

  static std::shared_ptr<KBL::host::EventQueue> makeQueue() {
    const Waker waker;
    auto queue = std::make_shared<KBL::host::EventQueue>(waker);
    *waker.queue = queue;
    return queue;
  }

  const std::shared_ptr<KBL::host::EventQueue> queue_ = makeQueue();
};
