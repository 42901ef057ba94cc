# Bugs that the schedules have to find: spf_plant(<name> <source> <text> <replacement>), one change of one source each.

# Waits and notifications

spf_plant(NotificationOfEndpointsDropped src/tracking/ConfigTracker.cpp
  [[waiters.notify = allEndpointsComplete();]]
  [[waiters.notify = false;]])

spf_plant(NotificationOfServicesDropped src/tracking/ConfigTracker.cpp
  [[  allServicesPublished = true;
  waiters.notify = true;]]
  [[  allServicesPublished = true;]])

spf_plant(NotificationOfAnErrorDropped src/tracking/ConfigTracker.cpp
  [[    error = newError;
    waiters.notify = true;]]
  [[    error = newError;]])

spf_plant(OneThreadNotified src/tracking/ConfigTracker.cpp
  [[condition_.notify_all();]]
  [[condition_.notify_one();]])

spf_plant(ConditionTestedOutsideOfTheLock src/tracking/ConfigTracker.cpp
  [[  std::unique_lock<std::mutex> lock(mutex);
  // A]]
  [[  if (decided()) {
    if (error) {
      std::rethrow_exception(error);
    }
    return true;
  }
  std::unique_lock<std::mutex> lock(mutex);
  if (timeout > timeout.zero()) {
    stateChanged.wait_until(lock, deadlineAfter(std::chrono::steady_clock::now(), timeout));
  }
  // A]])

spf_plant(UnlockedBeforeTheStateIsWritten src/tracking/ConfigTracker.cpp
  [[  const std::lock_guard<std::mutex> lock(mutex);
  waiters.notify = !allServicesUnpublished;
  allServicesUnpublished = true;]]
  [[  {
    const std::lock_guard<std::mutex> lock(mutex);
    waiters.notify = !allServicesUnpublished;
  }
  allServicesUnpublished = true;]])

spf_plant(NotifiedBeforeTheStateIsWritten src/tracking/ConfigTracker.cpp
  [[  logProgress("ConfigTracker completeAllServicesPublished");
  allServicesPublished = true;
  waiters.notify = true;]]
  [[  stateChanged.notify_all();
  mutex.unlock();
  mutex.lock();
  allServicesPublished = true;]])

# Completion, removal and registration

spf_plant(RefusalRemoved src/tracking/SPFConfigurationUpdateTracker.cpp
  [[  if (!removalPrepared) {
    unregister(lock);
  }]]
  [[  unregister(lock);]])

spf_plant(RefusalDecidedOutsideOfTheLock src/tracking/SPFConfigurationUpdateTracker.cpp
  [[  const std::lock_guard<std::mutex> lock(registrationMutex);
  if (!removalPrepared) {]]
  [[  const bool refused = removalPrepared;
  const std::lock_guard<std::mutex> lock(registrationMutex);
  if (!refused) {]])

spf_plant(RefusalBegunAfterTheRegistrationIsSeen src/tracking/SPFConfigurationUpdateTracker.cpp
  [[  const std::lock_guard<std::mutex> lock(registrationMutex);
  removalPrepared = true;
  if (!listenerRegistration) {
    listenerRegistration = registerListener(listener);
  }]]
  [[  {
    const std::lock_guard<std::mutex> lock(registrationMutex);
    if (!listenerRegistration) {
      listenerRegistration = registerListener(listener);
    }
  }
  removalPrepared = true;]])

spf_plant(CallbackUsesADestroyedTracker src/tracking/SPFConfigurationUpdateTracker.cpp
  [[  std::function<void()> allCompleteCallback = [weak = std::move(weak)] {
    if (const auto tracker = weak.lock()) {
      tracker->unregisterAfterCompletion();
    }
  };]]
  [[  std::function<void()> allCompleteCallback = [this] { unregisterAfterCompletion(); };]])

spf_plant(LastCompletionNotCountedUnderTheLock src/tracking/FrameworkSetupListener.cpp
  [[    const std::lock_guard<std::mutex> lock(completionMutex);
    completedServicePublishers.insert(servicePublisherID);
    if (]]
  [[    const auto others = completedServicePublishers.size() - completedServicePublishers.count(servicePublisherID);
    const std::lock_guard<std::mutex> lock(completionMutex);
    completedServicePublishers.insert(servicePublisherID);
    if (others + 1 != configTrackers.size() || ]])

spf_plant(StaleEventsAccepted src/tracking/FrameworkSetupListener.cpp
  [[if (event.modificationCount < static_cast<std::uint32_t>(modificationCount)) {]]
  [[if (event.modificationCount + 1 < static_cast<std::uint32_t>(modificationCount)) {]])

spf_plant(WithdrawnBeforeTheRemovalIsPrepared src/tracking/SPFConfigurationImplWaits.cpp
  [[  updateTracker->prepareForRemoval();
  try {
    removeFromConfigurationAdmin(configurationID);]]
  [[  try {
    removeFromConfigurationAdmin(configurationID);
    updateTracker->prepareForRemoval();]])

spf_plant(WithdrawnTwice src/tracking/SPFConfigurationImplWaits.cpp
  [[  configurationID.clear();
]]
  [[]])

# Order of publication and release

spf_plant(PublishedBeforeItListens src/publish/SPFConfigurationImpl.cpp
  [[  updateTracker = SPFConfigurationUpdateTracker::create(properties);
  configuration->Update(std::move(properties));]]
  [[  configuration->Update(properties);
  updateTracker = SPFConfigurationUpdateTracker::create(properties);]])

spf_plant(ReleasedBeforeItIsUnregistered src/tracking/SPFConfigurationUpdateTracker.cpp
  [[    listenerRegistration.Unregister();
    listenerRegistration = nullptr;]]
  [[    listenerRegistration = nullptr;
    listenerRegistration.Unregister();]])

spf_plant(TrackerKeptByItsCallback src/tracking/SPFConfigurationUpdateTracker.cpp
  [[[weak = std::move(weak)] {]]
  [[[weak = std::move(weak), kept = shared_from_this()] {]])

# The watch

spf_plant(WatchNotifiesNobody framework/watch/src/WatchListener.cpp
  [[  changed_.notify_all();
]]
  [[]])

spf_plant(WatchNotifiesBeforeTheChange framework/watch/src/WatchListener.cpp
  [[    change(publisher->second);
  }
  changed_.notify_all();]]
  [[    changed_.notify_all();
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  change(publishers_.find(publisherID)->second);]])

spf_plant(WatchCallsBackAfterItsEnd framework/watch/src/PublisherWatch.cpp
  [[  listener_->stopCallback();
]]
  [[]])
