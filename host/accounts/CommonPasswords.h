#pragma once

#include <string_view>

namespace host {

/// What people take first, in lower case, in order, without blanks: whole passwords, and words that many put digits and
/// signs around.
inline constexpr std::string_view kCommonPasswords = R"(
010203040506 0p9o8i7u6y5t 102030405060 1111qqqq 111222333444 112233445566 121212121212 123123123123 123321123321
123456123456 123456654321 123456789012 1234567890123 1234567890qwerty 123456789abc 123456789qwerty 123456abcdef
12345qwert 12345qwertasdfg 1234qwerasdf 1234qwerasdfzxcv 123abc123abc 123qwe123qwe 123qweasd 123qweasdzxc 12qwaszx
147258369 147258369000 147258369147 159357159357 159753159753 192837465 1a2b3c4d5e6f 1q1q1q1q1q1q 1q2w3e 1q2w3e4r
1q2w3e4r5t 1q2w3e4r5t6y 1qaz2wsx 1qaz2wsx3edc 1qaz2wsx3edc4rfv 1qazxsw2 2wsx3edc 3edc4rfv 741852963 741852963000
789456123 789456123000 963852741 987654321 987654321000 a123456789 a1b2c3d4e5 a1b2c3d4e5f6 a1s2d3f4 a1s2d3f4g5h6
aa123456 aaaaaa abc123 abc123abc123 abcabcabc abcd1234 abcd1234abcd abcdabcd abcdef123456 abcdefg abcdefgh abcdefghi
abcdefghijkl abracadabra access accessdenied accessgranted admin admin1strator adminadmin adminadminadmin
administrador administrateur administrator adminpassword alexander alexandra america amor android anthony anything
april argentina arsenal arsenalfc asdasdasd asdf1234asdf asdfasdf asdfasdfasdf asdfghjkl asdfghjklqwerty auditor
august australia autumn babyboy babygirl backup backups barcelona baseball basketball batman bbbbbb beautiful benjamin
berlin bienvenido bienvenue black blessed blink182blink182 blue bonjour brasil broncos brother business butterfly
california camera cameras canada cctv changeit changeme changemenow changethis charlie chelsea chelseafc chocolate
christian christmas christopher cisco colorado company companyname companypassword computadora computer contrasena
contraseña cookie corazon correcthorsebatterystaple corvette cowboys crystal cupcake custodian daniel database
davidson december default defaultpassword detective diamond dlink donaldduck dragon eagle eagles elizabeth eminem
engineer england enter enterenter entrance estrella everything evidence evidencelocker evidencemanager evidenceroom
facebook falcon family father february ferrari firewall flower football forever forgetpassword forgotpassword freedom
friday friend friends frodo futbol gandalf geheim geheimnis germany godisgood godislove golden goodluck goodmorning
google green guest guestpassword guitar hallo hallohallo halloween hamburg happiness happybirthday happynewyear harley
harleydavidson harrypotter haslo heaven hello hellohello hellokitty helloworld helloworld123 helpdesk hotmail hunter
ichliebedich idontknow idontremember iforgot ilovegod ilovejesus ilovemycat ilovemydog ilovemyfamily ilovemymom
iloveyou iloveyou1234 iloveyou2 iloveyouforever iloveyousomuch ineedapassword installer internet ireland italia
jamesbond january jennifer jesus jesuschrist jesusislord jetaime jonathan jordan joshua july june juniper juventus
kawasaki killer lakers letmein letmeinletmein letmeinnow letmeinplease letsgo libertad lightning linkedin linksys
liverpool liverpoolfc lkjhgfdsa login loginpassword logmein london lordoftherings losenord lovelovelove lovely loveme
lovers loveyouforever lozinka lösenord maintenance manager manchestercity manchesterunited march mariposa master
masterpassword matrix matthew mercedes metallica mexico michael mickeymouse microsoft mnbvcxz mnbvcxzlkjhg monday
monitor monkey motdepass motdepasse mother music mustang mypassword mypasswordis mysecret myspace mysql netgear
network newpassword newyork newyorkcity nicholas nicole nirvana nobody nopassword nopassword123 notapassword nothing
november october office officepassword officer oldpassword opensesame openup operator oracle orange p0o9i8u7y6t5
p@ssw0rd p@ssword pa55word packers paris parola parool pass passord passw0rd password password1 password1password
passwordadmin passwordis passwordone passwordpassword passwort patrick phoenix please pleaseletmein poiuytrewq
poiuytrewqasdf pokemon police policedepartment policeman policestation porsche postgres postgresql princesa princess
private purple q1q1q1q1q1q1 q1w2e3r4t5 q1w2e3r4t5y6 qazwsx qazwsxedc qazwsxedcrfv qazxsw qwe123qwe123 qweasdzxc
qweasdzxc123 qweqweqwe qwer1234asdf qwer1234qwer qwert12345 qwerty qwerty12345 qwerty123456 qwertyqwerty qwertyui
qwertyuiop qwertyuiopasdf raiders realmadrid reception recorder redsox richard rockandroll rocknroll root rootpassword
rootroot router salasana samantha samsung saturday schatz scooby scoobydoo sebastian secret secretpassword security
securitypass senha senha123 september server service serviceaccount sesame shadow sheriff silver sister slipknot
soleil something spiderman spring springtime starwars steelers stephanie summer summertime sunday sunshine superman
supersecret superuser supervisor support supportdesk surveillance sweetheart sweetie switch sysadmin sysop system
systemadmin systempassword teamo teamomucho technician temp temporary temppassword tequiero tequieromucho terminator
test testing testpassword testtest testtesttest testuser texas thankyougod thankyoujesus thisismypassword thomas
thunder thursday tiger tigger tinkerbell toor topsecret toyota tplink trustno1 trustnoone tuesday ubnt unknown unlock
userpassword useruser victoria videosurveillance wachtwoord wednesday welcome welcomeback welcomehome whatever william
windows winniethepooh winter wintertime wordpass yahoo yamaha yankees yellow yourpassword youtube z1x2c3v4
z1x2c3v4b5n6 zaq12wsx zaq12wsxcde3 zaq1zaq1zaq1 zxcvbnm zxcvbnm123456 zxcvzxcvzxcv zxczxczxc
)";

}  // namespace host
