#include "sandbox/AllServices.h"

#include "sandbox/services/Avatar.h"
#include "sandbox/services/account/AccountServer.h"
#include "sandbox/services/account/ConsentPage.h"
#include "sandbox/services/facebook/FacebookAccount.h"
#include "sandbox/services/facebook/FacebookGraph.h"
#include "sandbox/services/facebook/FacebookVideos.h"
#include "sandbox/services/flickr/FlickrPublishing.h"
#include "sandbox/services/flickr/FlickrRest.h"
#include "sandbox/services/google/GoogleAccount.h"
#include "sandbox/services/google/GoogleProfile.h"
#include "sandbox/services/google/YoutubeUpload.h"
#include "sandbox/services/inspection/Inspection.h"
#include "sandbox/services/instagram/InstagramAccount.h"
#include "sandbox/services/instagram/InstagramApi.h"
#include "sandbox/services/instagram/InstagramReels.h"
#include "sandbox/services/media/MediaFiles.h"
#include "sandbox/services/openplatform/DouyinProfile.h"
#include "sandbox/services/openplatform/DouyinUpload.h"
#include "sandbox/services/openplatform/TiktokProfile.h"
#include "sandbox/services/openplatform/TiktokUpload.h"
#include "sandbox/services/page/Page.h"
#include "sandbox/services/twitch/TwitchAccount.h"
#include "sandbox/services/twitch/TwitchVideos.h"
#include "sandbox/services/vimeo/VimeoAccount.h"
#include "sandbox/services/vimeo/VimeoVideos.h"

namespace sandbox {

std::vector<std::unique_ptr<Service>> makeServices(ServiceContext& context) {
  std::vector<std::unique_ptr<Service>> services;
  const auto nonces = std::make_shared<NonceBook>();
  services.push_back(std::make_unique<AccountServer>(context));
  services.push_back(std::make_unique<ConsentPage>(context));
  services.push_back(std::make_unique<GoogleProfile>(context));
  services.push_back(std::make_unique<Avatar>(context));
  services.push_back(std::make_unique<YoutubeUpload>(context));
  services.push_back(std::make_unique<TiktokProfile>(context));
  services.push_back(std::make_unique<TiktokUpload>(context));
  services.push_back(std::make_unique<DouyinProfile>(context));
  services.push_back(std::make_unique<DouyinUpload>(context));
  services.push_back(std::make_unique<FacebookGraph>(context));
  services.push_back(std::make_unique<FlickrRest>(context, nonces));
  services.push_back(std::make_unique<InstagramApi>(context));
  services.push_back(std::make_unique<MediaFiles>(context));
  services.push_back(std::make_unique<FacebookAccount>(context));
  services.push_back(std::make_unique<FacebookVideos>(context));
  services.push_back(std::make_unique<FlickrPublishing>(context, *nonces));
  services.push_back(std::make_unique<GoogleAccount>(context));
  services.push_back(std::make_unique<InstagramAccount>(context));
  services.push_back(std::make_unique<InstagramReels>(context));
  services.push_back(std::make_unique<TwitchAccount>(context));
  services.push_back(std::make_unique<TwitchVideos>(context));
  services.push_back(std::make_unique<VimeoAccount>(context));
  services.push_back(std::make_unique<VimeoVideos>(context));
  services.push_back(std::make_unique<Inspection>(context));
  if (context.options.page) services.push_back(std::make_unique<Page>(context));
  return services;
}

}  // namespace sandbox
