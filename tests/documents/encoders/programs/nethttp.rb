require "net/http"

url, description, name = ARGV
uri = URI(url)
File.open(name, "rb") do |file|
  request = Net::HTTP::Post.new(uri)
  request.set_form([["metadata", description], ["file", file]], "multipart/form-data")
  Net::HTTP.start(uri.host, uri.port) { |http| http.request(request) }
end
puts RUBY_VERSION
