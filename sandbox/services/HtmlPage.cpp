#include "sandbox/services/HtmlPage.h"

#include "sandbox/base/Text.h"

namespace sandbox {

Reply htmlPage(int status, const std::string& title, const std::string& content,
               const std::string& formTarget) {
  // Browsers hold redirects after a form to this rule as well.
  const std::string target = formTarget.empty() ? std::string() : " " + formTarget;
  Reply reply;
  reply.status = status;
  reply.contentType = "text/html; charset=utf-8";
  reply.headers = {{"Cache-Control", "no-store"},
                   {"Content-Security-Policy",
                    "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'" + target}};
  reply.body = R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>)" + htmlEscaped(title) +
               R"(</title>
<style>
:root { color-scheme: light dark; }
body { font: 1.1rem/1.5 system-ui, sans-serif; max-width: 34rem; margin: 3rem auto; padding: 0 1rem; color: #1b1b1b;
       background: #fff; overflow-wrap: anywhere; }
fieldset { border: 1px solid #666; border-radius: .4rem; margin: 1rem 0; padding: .5rem 1rem; }
label { display: block; padding: .3rem 0; }
button { font: inherit; padding: .6rem 1.6rem; margin: 0 .8rem .4rem 0; border: 2px solid #0b57d0; border-radius: .4rem;
         background: #fff; color: #0b57d0; cursor: pointer; }
button.allow { background: #0b57d0; color: #fff; }
:focus-visible { outline: 3px solid #b3261e; outline-offset: 2px; }
small { color: #555; }
h2 { font-size: 1.1rem; margin-top: 2rem; }
@media (prefers-color-scheme: dark) {
  body { color: #e7e9ec; background: #15171a; }
  button { border-color: #a8c7fa; background: #15171a; color: #a8c7fa; }
  button.allow { background: #a8c7fa; color: #0b2a5c; }
  small { color: #a5abb4; }
  :focus-visible { outline-color: #ffb4ab; }
}
</style>
</head>
<body>
<main>
<h1>)" + htmlEscaped(title) +
               "</h1>\n" + content + "</main>\n</body>\n</html>\n";
  return reply;
}

Reply redirectTo(const std::string& address) {
  Reply reply;
  reply.status = 302;
  reply.contentType = "text/html; charset=utf-8";
  reply.headers = {{"Location", address}, {"Cache-Control", "no-store"}};
  return reply;
}

}  // namespace sandbox
